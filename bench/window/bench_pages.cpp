// How the window keeps up while the calibration and download pages work the link: a 10 ms timer on the
// GUI thread measures how late the event loop runs during a read, a write and a whole download, and
// the time from opening the calibration page to the filled form; also how long a stop takes. The real
// window in this process (offscreen unless a display is named), against the simulator at 115200 baud.
//
// Usage: bench_pages [runs]   (default 5)
#include "../../tests/support/window_on_simulator.h"
#include "qml_controllers/qml_app_controller.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QQuickItem>
#include <QTest>
#include <QTextStream>
#include <QTimer>

#include <algorithm>

using tachoria::test::SimulatorProcess;
using tachoria::test::WindowDriver;

namespace {

// The longest lateness of a 10 ms timer since the last reset, in milliseconds.
class StallProbe
{
public:
    StallProbe()
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.setInterval(10);
        QObject::connect(&m_timer, &QTimer::timeout, [this] {
            const qint64 now = m_clock.nsecsElapsed();
            m_longest = std::max(m_longest, (now - m_last) / 1e6 - 10.0);
            m_last = now;
        });
        m_clock.start();
        m_timer.start();
    }
    void reset()
    {
        m_longest = 0;
        m_last = m_clock.nsecsElapsed();
    }
    double longest() const { return m_longest; }

private:
    QTimer m_timer;
    QElapsedTimer m_clock;
    qint64 m_last = 0;
    double m_longest = 0;
};

bool waitFor(const std::function<bool()>& condition, int timeoutMs)
{
    return QTest::qWaitFor(condition, timeoutMs);
}

double median(QList<double> values)
{
    std::sort(values.begin(), values.end());
    return values.isEmpty() ? 0 : values.at(values.size() / 2);
}

QString figures(const QList<double>& values)
{
    QStringList parts;
    for (double value : values)
        parts << QString::number(value, 'f', 1);
    return QStringLiteral("median %1, max %2 (%3)")
        .arg(median(values), 0, 'f', 1)
        .arg(values.isEmpty() ? 0 : *std::max_element(values.cbegin(), values.cend()), 0, 'f', 1)
        .arg(parts.join(QStringLiteral(", ")));
}

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    const int runs = argc > 1 ? std::max(1, QString::fromLocal8Bit(argv[1]).toInt()) : 5;
    QTextStream out(stdout);

    QList<double> openToFilled, openStall, reopenStall, readStall, stateCost, writeStall, downloadStall,
        downloadSeconds, stopMs;
    for (int run = 0; run < runs; ++run) {
        tachoria::test::WindowOnSimulator bench({QStringLiteral("--verbose")}, true);
        WindowDriver& window = bench.window;
        SimulatorProcess& simulator = bench.simulator;
        QString error;
        if (!bench.start(&error)) {
            out << "run " << run << ": no tachograph found " << error << Qt::endl;
            return 1;
        }
        window.app().settings()->setTachoriaMark(QStringLiteral("12345"));
        // A master reads the menu before he picks a tile.
        QTest::qWait(2000);
        auto& calibration = *window.app().calibration();
        StallProbe probe;

        QElapsedTimer opening;
        opening.start();
        probe.reset();
        window.click(QStringLiteral("calibrationTile"));
        // Building the page is one stretch of work on the GUI thread; the read follows on the worker.
        waitFor([&] { return window.findVisible(QStringLiteral("calibrationPage")) != nullptr; }, 10000);
        openStall << probe.longest();
        probe.reset();
        if (!waitFor(
                [&] {
                    return window.text(QStringLiteral("field_vehicleIdentificationNumber")) ==
                           QLatin1String("XTA210990Y1234567");
                },
                30000)) {
            out << "run " << run << ": the form was not filled: " << calibration.statusText() << Qt::endl;
            return 1;
        }
        openToFilled << opening.elapsed();
        readStall << probe.longest();
        {
            QElapsedTimer cost;
            cost.start();
            for (int i = 0; i < 20; ++i)
                calibration.resetImpulseMeasurement();
            stateCost << cost.nsecsElapsed() / 20e6;
        }

        probe.reset();
        window.click(QStringLiteral("calibrationWriteButton"));
        if (!waitFor([&] { return window.dialogOpen(QStringLiteral("writeDoneDialog")); }, 30000)) {
            out << "run " << run << ": the write did not end: " << calibration.statusText() << Qt::endl;
            return 1;
        }
        writeStall << probe.longest();
        window.click(QStringLiteral("messageAcceptButton"));
        window.click(QStringLiteral("calibrationExitButton"));
        // Opened again, the page's component is already compiled.
        waitFor(
            [&] {
                return !window.app().monitoringPaused() &&
                       window.find(QStringLiteral("calibrationTile"))->isEnabled();
            },
            15000);
        probe.reset();
        window.click(QStringLiteral("calibrationTile"));
        waitFor([&] { return calibration.readCompleted(); }, 30000);
        reopenStall << probe.longest();
        window.click(QStringLiteral("calibrationExitButton"));

        waitFor([&] { return window.find(QStringLiteral("downloadTile"))->isEnabled(); }, 15000);
        window.click(QStringLiteral("downloadTile"));
        waitFor([&] { return window.find(QStringLiteral("downloadStartButton"))->isEnabled(); }, 10000);
        auto& download = *window.app().download();
        download.setNeedTacho(true);
        QElapsedTimer downloading;
        downloading.start();
        probe.reset();
        window.click(QStringLiteral("downloadStartButton"));
        if (!waitFor([&] { return !download.running(); }, 120000) || !download.lastError().isEmpty()) {
            out << "run " << run << ": the download failed: " << download.lastError() << Qt::endl;
            return 1;
        }
        downloadStall << probe.longest();
        downloadSeconds << downloading.elapsed() / 1000.0;
        QFile::remove(download.outputPath()); // the download folder is the build's own

        // A stop in the middle of the next run.
        const auto activitiesAsked = [&simulator] {
            const QList<QByteArray> requests = simulator.receivedRequests();
            return std::count_if(requests.cbegin(), requests.cend(),
                                 [](const QByteArray& request) { return request.startsWith("\x36\x02"); });
        };
        const auto asked = activitiesAsked();
        window.click(QStringLiteral("downloadStartButton"));
        waitFor([&] { return activitiesAsked() > asked; }, 30000);
        QElapsedTimer stopping;
        stopping.start();
        window.click(QStringLiteral("downloadStopButton"));
        stopMs << stopping.elapsed();
        window.click(QStringLiteral("downloadExitButton"));
        out << "run " << run + 1 << " of " << runs << " done" << Qt::endl;
    }
    out << "open calibration page -> form filled, ms: " << figures(openToFilled) << Qt::endl;
    out << "longest GUI stall while the page is built, ms: " << figures(openStall) << Qt::endl;
    out << "longest GUI stall during the read, ms: " << figures(readStall) << Qt::endl;
    out << "longest GUI stall opening the page again and reading, ms: " << figures(reopenStall) << Qt::endl;
    out << "one change of the form's state, ms: " << figures(stateCost) << Qt::endl;
    out << "longest GUI stall during the write, ms: " << figures(writeStall) << Qt::endl;
    out << "longest GUI stall during a whole download, ms: " << figures(downloadStall) << Qt::endl;
    out << "whole download (overview, 8 days of activities, events, speed, technical data), s: "
        << figures(downloadSeconds) << Qt::endl;
    out << "Stop pressed -> run ended, ms: " << figures(stopMs) << Qt::endl;
    return 0;
}
