// What the settings page offers comes from the machine's real services, gathered off the GUI thread:
// card readers from pcscd (vsmartcard's virtual reader), printers from CUPS (cups-pdf queues), and
// the directories from their databases.
#include "../support/cups_stand_in.h"
#include "../support/pcsc_stand_in.h"
#include "qml_controllers/startup_catalogs.h"
#include "storage/app_paths.h"
#include "storage/customer_master_repositories.h"

#include <QTemporaryDir>
#include <QTest>
#include <QThread>

using namespace tachoria;

class TestStartupCatalogs : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_profile;

    static qml::StartupCatalogs collectOnAWorker()
    {
        qml::StartupCatalogs catalogs;
        std::unique_ptr<QThread> worker(
            QThread::create([&catalogs] { catalogs = qml::collectStartupCatalogs(); }));
        worker->start();
        worker->wait();
        return catalogs;
    }

private Q_SLOTS:
    void initTestCase()
    {
        qputenv("LOCALAPPDATA", m_profile.path().toLocal8Bit());
        storage::AppPaths::ensureDirectories();
    }

    void readersFromPcscd()
    {
        const QString missing = test::PcscStandIn::unavailableReason();
        if (!missing.isEmpty())
            QSKIP(qPrintable(missing));
        const bool runningBefore = test::PcscStandIn::serviceRunning();
        {
            test::PcscStandIn pcsc;
            QString error;
            QVERIFY2(pcsc.startService(&error), qPrintable(error));
            const QStringList readers = collectOnAWorker().readers;
            QVERIFY2(readers.contains(QStringLiteral("Virtual PCD 00 00")),
                     qPrintable(readers.join(QLatin1Char(','))));
        }
        if (!runningBefore)
            QCOMPARE(collectOnAWorker().readers, QStringList{QStringLiteral("Не обнаружен")});
    }

    void printersFromCups()
    {
        const QString missing = test::CupsStandIn::unavailableReason();
        if (!missing.isEmpty())
            QSKIP(qPrintable(missing));
        test::CupsStandIn cups;
        QString error;
        QVERIFY2(cups.start(&error), qPrintable(error));
        QVERIFY2(cups.addPdfPrinter(QStringLiteral("TachoriaPDF"), &error), qPrintable(error));
        QVERIFY2(cups.addPdfPrinter(QStringLiteral("Send_To_OneNote"), &error), qPrintable(error));
        const QStringList printers = collectOnAWorker().printers;
        QCOMPARE(printers.first(), QStringLiteral("По умолчанию"));
        QVERIFY2(printers.contains(QStringLiteral("TachoriaPDF")),
                 qPrintable(printers.join(QLatin1Char(','))));
        QVERIFY(!printers.contains(QStringLiteral("Send_To_OneNote")));
    }

    void directoriesWithTheirKeys()
    {
        storage::MasterRepository masters;
        storage::CustomerRepository customers;
        QVERIFY(masters.addMaster(QStringLiteral("Иванов И. И.")) > 0);
        const int removed = masters.addMaster(QStringLiteral("Уволенный"));
        QVERIFY(masters.deleteMaster(removed));
        QVERIFY(customers.addCustomer(QStringLiteral("ООО «ДЕМО-ТРАНС»"), QStringLiteral("Самара"),
                                      QStringLiteral("8 846 000 00 01")) > 0);
        const qml::StartupCatalogs catalogs = collectOnAWorker();
        QCOMPARE(catalogs.masters.size(), 1); // only those in service
        const QVariantMap master = catalogs.masters.first().toMap();
        QCOMPARE(master.keys(),
                 (QStringList{QStringLiteral("fullName"), QStringLiteral("id"), QStringLiteral("isActive")}));
        QCOMPARE(master.value(QStringLiteral("fullName")).toString(), QStringLiteral("Иванов И. И."));
        const QVariantMap customer = catalogs.customers.first().toMap();
        QCOMPARE(customer.keys(),
                 (QStringList{QStringLiteral("address"), QStringLiteral("createdAt"), QStringLiteral("id"),
                              QStringLiteral("isActive"), QStringLiteral("name"), QStringLiteral("phone")}));
        QVERIFY(QDateTime::fromString(customer.value(QStringLiteral("createdAt")).toString(), Qt::ISODate)
                    .isValid());
    }
};

QTEST_MAIN(TestStartupCatalogs)
#include "test_startup_catalogs.moc"
