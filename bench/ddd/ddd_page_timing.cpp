// A timed tool: from choosing a 1 MiB unit file on the DDD page of the real window to its first table on
// screen, with the longest time the GUI thread did not come back to its event loop meanwhile (a 1 ms timer
// notes every return). Run under QT_QPA_PLATFORM=offscreen; prints one line per run and the worst.
#include "../../tests/support/window_driver.h"
#include "qml_controllers/qml_app_controller.h"
#include "qml_controllers/qml_ddd_controller.h"
#include "storage/settings_repository.h"
#include "tools/dddgen/ddd_generator.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <cstdio>

using namespace tachoria;

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QTemporaryDir profile;
    test::WindowDriver window(profile.path());
    {
        storage::SettingsRepository settings;
        settings.setValue(QStringLiteral("Program"), QStringLiteral("ScanPorts"), 0, QStringLiteral("Bool"));
    }
    if (!window.start() || !QTest::qWaitFor([&] { return window.find(QStringLiteral("dddTile")); }) ||
        !window.click(QStringLiteral("dddTile")) ||
        !QTest::qWaitFor([&] { return window.findVisible(QStringLiteral("dddPage")); })) {
        std::fprintf(stderr, "the DDD page did not open\n");
        return 1;
    }
    const QByteArray bytes = dddgen::busyVehicleUnit(360, false);
    const QString path = profile.filePath(QStringLiteral("unit-1mib.ddd"));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        return 1;
    file.close();
    std::printf("file: %.0f KiB\n", bytes.size() / 1024.0);

    qml::QmlDddController& ddd = *window.app().ddd();
    QElapsedTimer sinceTick;
    qint64 longestStall = 0;
    QTimer ticker;
    ticker.setInterval(1);
    QObject::connect(&ticker, &QTimer::timeout, [&] {
        longestStall = std::max(longestStall, sinceTick.elapsed());
        sinceTick.restart();
    });
    qint64 worstShown = 0, worstStall = 0;
    for (int run = 1; run <= 5; ++run) {
        ddd.clear();
        window.settle();
        longestStall = 0;
        QElapsedTimer shown;
        shown.start();
        sinceTick.start();
        ticker.start();
        if (!ddd.openFile(path) || !QTest::qWaitFor(
                                       [&] {
                                           return ddd.statusText() == QStringLiteral("Разбор завершён") &&
                                                  window.findVisible(QStringLiteral("datasetCell_0_0"));
                                       },
                                       60000)) {
            std::fprintf(stderr, "not shown: %s\n", qPrintable(ddd.lastError()));
            return 1;
        }
        const qint64 elapsed = shown.elapsed();
        ticker.stop();
        std::printf("run %d: shown after %lld ms, longest GUI stall %lld ms\n", run, (long long)elapsed,
                    (long long)longestStall);
        worstShown = std::max(worstShown, elapsed);
        worstStall = std::max(worstStall, longestStall);
    }
    std::printf("worst: shown after %lld ms, longest GUI stall %lld ms\n", (long long)worstShown,
                (long long)worstStall);
    return 0;
}
