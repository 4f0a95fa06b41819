#include "adapter_model.h"
#include "calibration_memory.h"
#include "pty_line.h"
#include "request_reader.h"
#include "sim_options.h"
#include "tachograph_model.h"

#include <QCoreApplication>
#include <QFile>
#include <QTextStream>
#include <QThread>

#include <csignal>
#include <memory>
#include <poll.h>

using namespace tachoria::sim;

namespace {

volatile std::sig_atomic_t g_stop = 0;

void onSignal(int)
{
    g_stop = 1;
}

QString hex(const QByteArray& bytes)
{
    return QString::fromLatin1(bytes.toHex(' ').toUpper());
}

// One pseudo-terminal with what arrived on it and not yet understood.
struct Line
{
    QString name;
    PtyLine pty;
    RequestReader requests;
    QByteArray adapterBuffer;
    std::unique_ptr<AdapterModel> adapter; // set on the adapter's line
};

class Simulator
{
public:
    Simulator(const SimOptions& options, TachographModel& model)
        : m_options(options)
        , m_model(model)
        , m_err(stderr)
    {
    }

    void serve(Line& line, const QByteArray& incoming)
    {
        const LineSettings settings = line.pty.settings();
        // A real UART at a speed the device does not use delivers garbage, and the device answers
        // nothing. (A pseudo-terminal carries no parity bit, so only the speed can be told apart.)
        if (!m_options.bauds.contains(settings.baud)) {
            log(QStringLiteral("%1: garbled %2 bytes (speed %3 not supported)")
                    .arg(line.name)
                    .arg(incoming.size())
                    .arg(settings.baud));
            return;
        }
        if (line.adapter) {
            line.adapterBuffer.append(incoming);
            while (const auto code = AdapterModel::takeCommand(line.adapterBuffer)) {
                log(QStringLiteral("%1: adapter command %2")
                        .arg(line.name)
                        .arg(*code, 2, 16, QLatin1Char('0')));
                const QByteArray answer = line.adapter->handle(*code);
                if (!answer.isEmpty())
                    send(line, answer, settings);
            }
            if (!line.adapter->passesFrames())
                return; // no tachograph behind the adapter until it switches the line
        }
        line.requests.append(incoming);
        while (const auto request = line.requests.next()) {
            log(QStringLiteral("%1: RX %2").arg(line.name, hex(request->wire)));
            // A UART takes a frame in at the line's pace: the device answers after its last byte has
            // arrived, which a pseudo-terminal would otherwise hand over at once.
            if (m_options.paced && settings.baud > 0)
                QThread::usleep(static_cast<unsigned long>(1e6 * request->wire.size() *
                                                           settings.deviceBitsPerByte() / settings.baud));
            const FaultInjection& faults = m_options.faults;
            if (faults.echo || (line.adapter && line.adapter->kLine() && m_options.kLineEcho))
                send(line, request->wire, settings);
            if (faults.silent)
                continue;
            for (const auto& frame : m_model.handle(request->frame, settings.baud)) {
                if (faults.delayMs > 0)
                    QThread::msleep(static_cast<unsigned long>(faults.delayMs));
                QByteArray wire = faults.noise;
                if (faults.zeroLengthFrame)
                    wire.append(QByteArray::fromHex("80F0EE00"));
                QByteArray answer = tachoria::protocol::ServiceFrameCodec::encode(frame);
                if (faults.badChecksum)
                    answer.back() = static_cast<char>(answer.back() + 1);
                wire.append(answer);
                send(line, wire, settings);
                if (const int pause = m_model.pauseAfter(frame); pause > 0)
                    QThread::msleep(static_cast<unsigned long>(pause));
            }
            if (!m_model.lastSaveError().isEmpty())
                log(QStringLiteral("cannot save the calibration memory: %1").arg(m_model.lastSaveError()));
        }
    }

private:
    void send(Line& line, const QByteArray& bytes, const LineSettings& settings)
    {
        log(QStringLiteral("%1: TX %2%3 (%4 bytes at %5 baud)")
                .arg(line.name, hex(bytes.left(48)), bytes.size() > 48 ? QStringLiteral(" ...") : QString())
                .arg(bytes.size())
                .arg(settings.baud));
        line.pty.write(bytes, m_options.paced);
    }

    void log(const QString& text)
    {
        if (!m_options.verbose)
            return;
        m_err << text << '\n';
        m_err.flush();
    }

    const SimOptions& m_options;
    TachographModel& m_model;
    QTextStream m_err;
};

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tachoria-sim"));
    QCoreApplication::setApplicationVersion(QStringLiteral("2.5.0.189"));
    QTextStream out(stdout);
    QTextStream err(stderr);

    SimOptions options;
    QString error;
    if (!parseSimOptions(QCoreApplication::arguments(), options, &error)) {
        err << "tachoria-sim: " << error << '\n';
        return 2;
    }

    CalibrationMemory memory = CalibrationMemory::factoryDefaults();
    const QString& statePath = options.behaviour.statePath;
    if (!statePath.isEmpty() && QFile::exists(statePath) && !memory.load(statePath, &error)) {
        err << "tachoria-sim: " << error << '\n';
        return 2;
    }
    TachographModel model(options.identity, options.behaviour, memory);

    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    std::vector<std::unique_ptr<Line>> lines;
    const auto openLine = [&](const QString& name, const QString& path) {
        auto line = std::make_unique<Line>();
        line->name = name;
        if (!line->pty.open(path, &error)) {
            err << "tachoria-sim: " << error << '\n';
            return false;
        }
        lines.push_back(std::move(line));
        return true;
    };
    if (!openLine(QStringLiteral("tachograph"), options.linkPath))
        return 1;
    if (!options.adapterLinkPath.isEmpty()) {
        if (!openLine(QStringLiteral("adapter"), options.adapterLinkPath))
            return 1;
        lines.back()->adapter = std::make_unique<AdapterModel>(options.adapterPulses);
    }
    out << "READY " << options.linkPath << '\n';
    if (!options.adapterLinkPath.isEmpty())
        out << "ADAPTER " << options.adapterLinkPath << '\n';
    out.flush();

    Simulator simulator(options, model);
    while (!g_stop) {
        std::vector<pollfd> fds;
        for (const auto& line : lines)
            fds.push_back({line->pty.masterFd(), POLLIN, 0});
        if (::poll(fds.data(), fds.size(), 50) <= 0)
            continue;
        for (size_t i = 0; i < lines.size(); ++i) {
            if (!(fds[i].revents & POLLIN))
                continue;
            QByteArray incoming;
            lines[i]->pty.read(incoming, 0);
            if (!incoming.isEmpty())
                simulator.serve(*lines[i], incoming);
        }
    }
    for (auto& line : lines)
        line->pty.close();
    return 0;
}
