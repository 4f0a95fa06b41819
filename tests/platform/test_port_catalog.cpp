#include "../support/simulator_process.h"
#include "platform/port_change_watcher.h"
#include "protocol/serial_port_catalog.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <atomic>
#include <csignal>
#include <sys/syscall.h>
#include <unistd.h>

using tachoria::platform::PortChangeWatcher;
using tachoria::protocol::SerialPortCatalog;
using tachoria::protocol::SerialPortInfo;

namespace {

QStringList names(const QList<SerialPortInfo>& ports)
{
    QStringList out;
    for (const auto& port : ports)
        out << port.name;
    return out;
}

std::atomic_int signalsTaken{0};

QStringList threadsOfThisProcess()
{
    return QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
}

} // namespace

class TestPortCatalog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void excludes_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QStringList>("descriptions");
        QTest::addColumn<bool>("excluded");
        QTest::newRow("usb serial") << QStringLiteral("/dev/ttyUSB0")
                                    << QStringList{QStringLiteral("usb"), QStringLiteral("FT232R")} << false;
        QTest::newRow("rfcomm by name") << QStringLiteral("/dev/rfcomm0") << QStringList{} << true;
        QTest::newRow("bluetooth by bus")
            << QStringLiteral("/dev/ttyACM3") << QStringList{QStringLiteral("bluetooth")} << true;
        QTest::newRow("bluetooth only in the description")
            << QStringLiteral("/dev/ttyACM1")
            << QStringList{QString(), QStringLiteral("Standard Serial over BLUETOOTH link")} << true;
        QTest::newRow("ATLink device class")
            << QStringLiteral("/dev/ttyUSB4")
            << QStringList{QStringLiteral("usb"), QStringLiteral("AtLink Interface")} << true;
    }

    void excludes()
    {
        QFETCH(QString, name);
        QFETCH(QStringList, descriptions);
        QTEST(SerialPortCatalog::isExcluded(name, descriptions), "excluded");
    }

    void sortsByTrailingNumber()
    {
        QList<SerialPortInfo> ports;
        for (const char* name :
             {"COM10", "/dev/ttyUSB10", "COM2", "/dev/ttyUSB2", "com2", "/dev/ttyS0", "/dev/tacho"})
            ports.append({QString::fromLatin1(name), {}, {}, {}});
        SerialPortCatalog::sortAndDeduplicate(ports);
        // Equal numbers fall back to the lower-cased name; "com2" goes as a duplicate of "COM2".
        QCOMPARE(names(ports), (QStringList{QStringLiteral("/dev/tacho"), QStringLiteral("/dev/ttyS0"),
                                            QStringLiteral("/dev/ttyUSB2"), QStringLiteral("COM2"),
                                            QStringLiteral("/dev/ttyUSB10"), QStringLiteral("COM10")}));
    }

    void directTransport_data()
    {
        QTest::addColumn<QString>("port");
        QTest::addColumn<bool>("direct");
        QTest::newRow("COM name") << QStringLiteral("com7") << true;
        QTest::newRow("tcp") << QStringLiteral("tcp://127.0.0.1:5000") << false;
        QTest::newRow("usb") << QStringLiteral("usb://1234:5678") << false;
        QTest::newRow("bluetooth") << QStringLiteral("/dev/rfcomm0") << false;
        QTest::newRow("missing device") << QStringLiteral("/dev/ttyUSB97") << false;
        QTest::newRow("existing device") << QStringLiteral("/dev/ptmx") << true;
        QTest::newRow("a file that is no device") << QStringLiteral("/etc/hostname") << false;
    }

    void directTransport()
    {
        QFETCH(QString, port);
        QTEST(SerialPortCatalog::isDirectTransport(port), "direct");
    }

    // A pseudo-terminal is not listed by the system; configured by path, it is a port like any other.
    void configuredPseudoTerminalIsListed()
    {
        tachoria::test::SimulatorProcess sim;
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        QVERIFY(!names(SerialPortCatalog::available()).contains(sim.link()));
        const QStringList listed =
            names(SerialPortCatalog::available({sim.link(), QStringLiteral("/dev/ttyUSB97"), QString()}));
        QCOMPARE(listed.count(sim.link()), 1);
        QVERIFY(!listed.contains(QStringLiteral("/dev/ttyUSB97"))); // configured but absent
        QVERIFY(SerialPortCatalog::isDirectTransport(sim.link()));
        QVERIFY(sim.stop());
        QVERIFY(!names(SerialPortCatalog::available({sim.link()})).contains(sim.link()));
    }

    // A device announced by the kernel reaches the callback, also after a signal; stopping joins the thread
    // promptly.
    void watcherReportsArrival()
    {
        std::atomic_int calls{0};
        PortChangeWatcher watcher;
        const QStringList threadsBefore = threadsOfThisProcess();
        QVERIFY(watcher.start([&calls] { ++calls; }));
        QStringList watcherThreads = threadsOfThisProcess();
        for (const QString& thread : threadsBefore)
            watcherThreads.removeAll(thread);
        QVERIFY(watcher.isRunning());
        QFile uevent(QStringLiteral("/sys/class/tty/ttyS0/uevent"));
        if (!uevent.open(QIODevice::WriteOnly))
            QSKIP("this machine does not let the test announce a device (/sys/class/tty/ttyS0/uevent is not "
                  "writable)");
        // The monitor needs a moment to subscribe; announce until it hears.
        const auto heardAnother = [&uevent, &calls] {
            const int before = calls;
            for (int i = 0; i < 50 && calls == before; ++i) {
                uevent.write("add\n");
                uevent.flush();
                QTest::qWait(100);
            }
            return calls > before;
        };
        QVERIFY(heardAnother());

        // A signal that interrupts the wait only starts the next one: the watcher still hears.
        struct sigaction action
        {
        };
        action.sa_handler = [](int) { ++signalsTaken; };
        QCOMPARE(::sigaction(SIGUSR1, &action, nullptr), 0);
        QCOMPARE(watcherThreads.size(), 1);
        QCOMPARE(::syscall(SYS_tgkill, ::getpid(), watcherThreads.first().toInt(), SIGUSR1), 0);
        QTRY_COMPARE(int(signalsTaken), 1);
        QVERIFY(heardAnother());
        watcher.stop();
        QVERIFY(!watcher.isRunning());
        const int seen = calls;
        uevent.write("add\n");
        uevent.flush();
        QTest::qWait(200);
        QCOMPARE(int(calls), seen); // nothing after stop
    }
};

QTEST_GUILESS_MAIN(TestPortCatalog)
#include "test_port_catalog.moc"
