#include "app/command_line.h"

#include <QTest>

using tachoria::app::CommandLine;
using namespace Qt::StringLiterals;

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

        const QString program = u"tachoria"_s;
        const QString probe = u"--probe-port"_s;
        const QString baud = u"--baud"_s;
        QTest::newRow("port and speed")
            << QStringList{program, probe, u"COM3"_s, baud, u"9600"_s} << true << u"COM3"_s << 9600;
        QTest::newRow("switch as the last argument counts as absent")
            << QStringList{program, probe} << false << QString() << 115200;
        QTest::newRow("only the first occurrence counts")
            << QStringList{program, probe, u"/dev/ttyS0"_s, probe, u"/dev/ttyS1"_s} << true << u"/dev/ttyS0"_s
            << 115200;
        QTest::newRow("a bad number reads as 0")
            << QStringList{program, probe, u"p"_s, baud, u"x"_s} << true << u"p"_s << 0;
        QTest::newRow("speed without a value keeps the default")
            << QStringList{program, probe, u"p"_s, baud} << true << u"p"_s << 115200;
        QTest::newRow("names compare exactly")
            << QStringList{program, u"--Probe-Port"_s, u"p"_s} << false << QString() << 115200;
        QTest::newRow("the program name is searched too")
            << QStringList{probe, u"p"_s} << true << u"p"_s << 115200;
    }

    void switches()
    {
        QFETCH(QStringList, arguments);
        const CommandLine line(arguments);
        QTEST(line.hasValue(u"--probe-port"_s), "probe");
        QTEST(line.value(u"--probe-port"_s), "port");
        QTEST(line.number(u"--baud"_s, 115200), "baud");
    }
};

QTEST_GUILESS_MAIN(TestCommandLine)
#include "test_command_line.moc"
