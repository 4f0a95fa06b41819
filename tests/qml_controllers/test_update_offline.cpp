// A shop that starts offline: the program's check of the page fails for good for this run, while the
// firmware check waits for the network and runs as soon as it comes. The test plays it in a network
// namespace of its own (root only): first loopback alone, then a default route.
#include "../support/https_stand_in.h"
#include "qml_controllers/update_checker.h"

#include <QCoreApplication>
#include <QNetworkInformation>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

#include <sched.h>

using tachoria::qml::UpdateChecker;
using tachoria::test::HttpsStandIn;

namespace {

bool ip(const QStringList& arguments)
{
    QProcess process;
    process.start(QStringLiteral("ip"), arguments);
    return process.waitForFinished(10000) && process.exitCode() == 0;
}

} // namespace

class TestUpdateOffline : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void firmwareCheckWaitsForTheNetwork()
    {
        if (!HttpsStandIn::unavailableReason().isEmpty())
            QSKIP(qPrintable(HttpsStandIn::unavailableReason()));
        // A network of this process's own, with nothing but a loopback that is down.
        if (::unshare(CLONE_NEWNET) != 0 ||
            !ip({QStringLiteral("link"), QStringLiteral("set"), QStringLiteral("lo"), QStringLiteral("up")}))
            QSKIP("this machine does not let the test make a network namespace (needs root and iproute2)");
        if (!QNetworkInformation::loadDefaultBackend() &&
            !QNetworkInformation::loadBackendByName(QStringLiteral("glib")))
            QSKIP("no network information backend reports reachability here");
        if (QNetworkInformation::instance()->reachability() >= QNetworkInformation::Reachability::Site)
            QSKIP("the network information backend calls a loopback-only network online");

        HttpsStandIn site;
        QString error;
        QVERIFY2(site.start(&error), qPrintable(error));
        const QUrl address = site.site();
        UpdateChecker updates;
        updates.setPublisher({address, site.caCertificates()});
        // The page is not there at start: the program's check fails and is not made again.
        site.stop();
        QSignalSpy programChecked(&updates, &UpdateChecker::tachoriaCheckFinished);
        QSignalSpy firmwareChecked(&updates, &UpdateChecker::firmwareCheckFinished);
        updates.startTachoriaVersionCheck();
        updates.startFirmwareVersionCheck();
        QVERIFY(programChecked.wait(15000));
        QCOMPARE(updates.availableTachoriaVersion(), QString());
        QVERIFY(!firmwareChecked.wait(1000));

        // The site comes back on its port, then the network with a default route.
        HttpsStandIn again;
        QVERIFY2(again.start(&error), qPrintable(error));
        updates.setPublisher({again.site(), again.caCertificates()});
        QVERIFY(again.serve(QStringLiteral("tachographs/orvian-479160000-1h-re/index.html"),
                            "Актуальная прошивка тахографа: tacho_101_02060000.bin\n"
                            "<a href=\"/tachoria_2.6.0.1_amd64.deb\">"));
        QVERIFY(ip(QStringLiteral("link add tnet0 type veth peer name tnet1").split(QLatin1Char(' '))));
        QVERIFY(ip(QStringLiteral("link set tnet1 up").split(QLatin1Char(' '))));
        QVERIFY(ip({QStringLiteral("addr"), QStringLiteral("add"), QStringLiteral("10.200.0.1/24"),
                    QStringLiteral("dev"), QStringLiteral("tnet0")}));
        QVERIFY(ip(
            {QStringLiteral("link"), QStringLiteral("set"), QStringLiteral("tnet0"), QStringLiteral("up")}));
        QVERIFY(ip({QStringLiteral("route"), QStringLiteral("add"), QStringLiteral("default"),
                    QStringLiteral("via"), QStringLiteral("10.200.0.2"), QStringLiteral("dev"),
                    QStringLiteral("tnet0")}));
        if (!QTest::qWaitFor(
                [] {
                    return QNetworkInformation::instance()->reachability() >=
                           QNetworkInformation::Reachability::Site;
                },
                10000))
            QSKIP("the network information backend does not notice a route added here");
        QVERIFY(firmwareChecked.wait(30000));
        QCOMPARE(updates.availableFirmwareVersion(), QStringLiteral("02060000"));
        QCOMPARE(programChecked.count(), 1);
        QCOMPARE(updates.availableTachoriaVersion(), QString());
    }
};

QTEST_GUILESS_MAIN(TestUpdateOffline)
#include "test_update_offline.moc"
