#include "app/command_line.h"

#include <QTest>

using tachoria::app::CommandLine;

class TestCommandLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void switches_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<bool>("probe");
        QTest::addColumn<QString>("port");
        QTest::addColumn<int>("baud");

        const QString program = QStringLiteral("tachoria");
        const QString probe = QStringLiteral("--probe-port");
        const QString baud = QStringLiteral("--baud");
        QTest::newRow("port and speed")
            << QStringList{program, probe, QStringLiteral("COM3"), baud, QStringLiteral("9600")} << true
            << QStringLiteral("COM3") << 9600;
        QTest::newRow("switch as the last argument counts as absent")
            << QStringList{program, probe} << false << QString() << 115200;
        QTest::newRow("only the first occurrence counts")
            << QStringList{program, probe, QStringLiteral("/dev/ttyS0"), probe, QStringLiteral("/dev/ttyS1")}
            << true << QStringLiteral("/dev/ttyS0") << 115200;
        QTest::newRow("a bad number reads as 0")
            << QStringList{program, probe, QStringLiteral("p"), baud, QStringLiteral("x")} << true
            << QStringLiteral("p") << 0;
        QTest::newRow("speed without a value keeps the default")
            << QStringList{program, probe, QStringLiteral("p"), baud} << true << QStringLiteral("p")
            << 115200;
        QTest::newRow("names compare exactly")
            << QStringList{program, QStringLiteral("--Probe-Port"), QStringLiteral("p")} << false << QString()
            << 115200;
        QTest::newRow("the program name is searched too")
            << QStringList{probe, QStringLiteral("p")} << true << QStringLiteral("p") << 115200;
    }

    void switches()
    {
        QFETCH(QStringList, arguments);
        const CommandLine line(arguments);
        QTEST(line.hasValue(QStringLiteral("--probe-port")), "probe");
        QTEST(line.value(QStringLiteral("--probe-port")), "port");
        QTEST(line.number(QStringLiteral("--baud"), 115200), "baud");
    }
};

QTEST_GUILESS_MAIN(TestCommandLine)
#include "test_command_line.moc"
