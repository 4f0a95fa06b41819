#include "pty_line.h"
#include "request_reader.h"
#include "sim_options.h"
#include "tachograph_model.h"

#include <QCoreApplication>
#include <QTextStream>
#include <QThread>

#include <csignal>

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

// A real UART at a speed the device does not use delivers garbage, and the device answers nothing.
// (A pseudo-terminal carries no parity bit, so only the speed can be told apart here.)
bool lineUnderstood(const SimOptions& options, const LineSettings& line, QString& why)
{
    if (options.bauds.contains(line.baud))
        return true;
    why = QStringLiteral("speed %1 not supported").arg(line.baud);
    return false;
}

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

    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    PtyLine line;
    if (!line.open(options.linkPath, &error)) {
        err << "tachoria-sim: " << error << '\n';
        return 1;
    }
    out << "READY " << options.linkPath << '\n';
    out.flush();
    if (options.verbose)
        err << "line " << line.slavePath() << " linked at " << options.linkPath << '\n';

    TachographModel model(options.identity);
    RequestReader reader;
    const FaultInjection& faults = options.faults;
    while (!g_stop) {
        QByteArray incoming;
        if (!line.read(incoming, 50))
            break;
        if (incoming.isEmpty())
            continue;
        const LineSettings settings = line.settings();
        QString why;
        if (!lineUnderstood(options, settings, why)) {
            if (options.verbose)
                err << "garbled " << incoming.size() << " bytes (" << why << ")\n";
            continue;
        }
        reader.append(incoming);
        while (const auto request = reader.next()) {
            if (options.verbose) {
                err << "RX " << hex(request->wire) << '\n';
                err.flush();
            }
            if (faults.echo)
                line.write(request->wire, options.paced);
            if (faults.silent)
                continue;
            for (const auto& frame : model.handle(request->frame, settings.baud)) {
                if (faults.delayMs > 0)
                    QThread::msleep(static_cast<unsigned long>(faults.delayMs));
                QByteArray wire = faults.noise;
                if (faults.zeroLengthFrame)
                    wire.append(QByteArray::fromHex("80F0EE00"));
                QByteArray answer = tachoria::protocol::ServiceFrameCodec::encode(frame);
                if (faults.badChecksum)
                    answer.back() = static_cast<char>(answer.back() + 1);
                wire.append(answer);
                if (options.verbose) {
                    err << "TX " << hex(wire.left(64)) << (wire.size() > 64 ? " ..." : "") << " (" << wire.size()
                        << " bytes at " << settings.baud << " baud)\n";
                    err.flush();
                }
                line.write(wire, options.paced);
            }
        }
    }
    line.close();
    return 0;
}
