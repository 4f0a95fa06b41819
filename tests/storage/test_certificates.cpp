#include "storage/certificate_repository.h"
#include "storage/certificate_xml_storage.h"
#include "storage_test_profile.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <sys/resource.h>

using namespace tachoria::storage;

namespace {

QVariantMap sample()
{
    return {{QStringLiteral("OrderNumber"), QStringLiteral("17")},
            {QStringLiteral("OrderDate"), QStringLiteral("01.02.2024 10:30")},
            {QStringLiteral("CustomerName"), QStringLiteral("ООО «Рога и копыта»")},
            {QStringLiteral("TachographSerialNumber"), QStringLiteral("2505001800001234")},
            {QStringLiteral("VehicleOdometr"), QStringLiteral("123456")},
            {QStringLiteral("Note"), QStringLiteral("без замечаний")}};
}

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestCertificates : public QObject
{
    Q_OBJECT

    StorageTestProfile m_profile;
    QTemporaryDir m_folder;

private Q_SLOTS:
    void fileNames_data()
    {
        QTest::addColumn<QVariantMap>("certificate");
        QTest::addColumn<QString>("name");
        QTest::newRow("nothing known") << QVariantMap{} << QStringLiteral("unknown_nodate.xml");
        QTest::newRow("date with time")
            << sample() << QStringLiteral("2505001800001234_01.02.2024_10_30.xml");
        QTest::newRow("slashes") << QVariantMap{{QStringLiteral("TachographSerialNumber"),
                                                 QStringLiteral("A/B")},
                                                {QStringLiteral("OrderDate"), QStringLiteral("01/02/2024")}}
                                 << QStringLiteral("A_B_01_02_2024.xml");
    }

    void fileNames()
    {
        QFETCH(QVariantMap, certificate);
        QTEST(CertificateXmlStorage::fileNameFor(certificate), "name");
    }

    void checksum()
    {
        const QString sum = CertificateXmlStorage::checksum(sample());
        QCOMPARE(sum.size(), 43);
        QVERIFY(!sum.contains(QLatin1Char('/')) && !sum.contains(QLatin1Char('+')) &&
                !sum.contains(QLatin1Char('=')));
        QVariantMap outside = sample();
        outside.insert(QStringLiteral("DocumentPath"), QStringLiteral("/elsewhere.pdf"));
        QCOMPARE(CertificateXmlStorage::checksum(outside), sum); // fields outside the list take no part
        QVariantMap changed = sample();
        changed.insert(QStringLiteral("Note"), QStringLiteral("иначе"));
        QVERIFY(CertificateXmlStorage::checksum(changed) != sum);
        QCOMPARE(CertificateRepository::fields().size(), 30);
    }

    void writeReadVerify()
    {
        CertificateXmlStorage storage(m_folder.filePath(QStringLiteral("xml")));
        QString sum;
        QString error;
        const QString path = storage.saveCertificate(sample(), &sum, &error);
        QVERIFY2(!path.isEmpty(), qPrintable(error));
        QCOMPARE(sum, CertificateXmlStorage::checksum(sample()));
        QVERIFY(storage.isCertificateExists(sum));
        QCOMPARE(storage.allChecksums().value(sum), QStringLiteral("2505001800001234_01.02.2024_10_30.xml"));
        QVERIFY(contents(storage.checksumsPath())
                    .endsWith((sum + QStringLiteral("|2505001800001234_01.02.2024_10_30.xml\n")).toUtf8()));

        const QVariantMap loaded = storage.loadCertificate(path, &error);
        QCOMPARE(loaded.size(), 30);
        QCOMPARE(loaded.value(QStringLiteral("CustomerName")).toString(),
                 QStringLiteral("ООО «Рога и копыта»"));
        QVERIFY(storage.verifyCertificateIntegrity(path, &error));

        // A changed element fails the check; an extra one is loaded but takes no part.
        QByteArray xml = contents(path);
        xml.replace("<Note>без замечаний</Note>", "<Extra>x</Extra><Note>без замечаний</Note>");
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(xml);
        file.close();
        QCOMPARE(storage.loadCertificate(path).value(QStringLiteral("Extra")).toString(),
                 QStringLiteral("x"));
        QVERIFY(storage.verifyCertificateIntegrity(path));
        xml.replace("без замечаний", "подделка");
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(xml);
        file.close();
        QVERIFY(!storage.verifyCertificateIntegrity(path));

        // Lines that do not split in two are skipped.
        QFile list(storage.checksumsPath());
        QVERIFY(list.open(QIODevice::Append));
        list.write("abc\na|b|c\n");
        list.close();
        QCOMPARE(storage.allChecksums().size(), 1);
        QVERIFY(!storage.loadCertificate(m_folder.filePath(QStringLiteral("missing.xml")), &error).size());
        QVERIFY(!error.isEmpty());
    }

    // A disk that fills up in the middle of the write: the earlier file of that name stays whole.
    void failedWriteKeepsTheOldFile()
    {
        CertificateXmlStorage storage(m_folder.filePath(QStringLiteral("full")));
        QString error;
        const QString path = storage.saveCertificate(sample(), nullptr, &error);
        QVERIFY(!path.isEmpty());
        const QByteArray before = contents(path);
        const QByteArray listBefore = contents(storage.checksumsPath());

        QVariantMap huge = sample();
        huge.insert(QStringLiteral("Note"), QString(200000, QLatin1Char('x')));
        rlimit original{};
        getrlimit(RLIMIT_FSIZE, &original);
        std::signal(SIGXFSZ, SIG_IGN);
        rlimit small = original;
        small.rlim_cur = 64 * 1024;
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &small), 0);
        const QString failed = storage.saveCertificate(huge, nullptr, &error);
        setrlimit(RLIMIT_FSIZE, &original);
        QCOMPARE(failed, QString());
        QVERIFY(!error.isEmpty());
        QCOMPARE(contents(path), before);
        QCOMPARE(contents(storage.checksumsPath()), listBefore);
        QCOMPARE(QDir(storage.folderPath()).entryList(QDir::Files).size(), 2); // no temporary left behind
    }

    void repository()
    {
        CertificateRepository certificates;
        QVERIFY2(certificates.isOpen(), qPrintable(certificates.lastError()));
        const int id = certificates.saveCertificate(sample(), QStringLiteral("/docs/c.odt"),
                                                    QStringLiteral("/docs/c.pdf"), true);
        QVERIFY(id > 0);
        QVariantMap row = certificates.certificate(id);
        QCOMPARE(row.value(QStringLiteral("VehicleOdometr")).toString(), QStringLiteral("123456"));
        QVERIFY(row.value(QStringLiteral("VehicleVin")).isNull()); // absent fields are NULL
        QCOMPARE(row.value(QStringLiteral("IsSuccess")).toInt(), 1);
        QCOMPARE(certificates.searchCertificates(QStringLiteral("рога")).size(), 1);
        QCOMPARE(certificates.certificatesBySerialNumber(QStringLiteral("2505001800001234")).size(), 1);
        QVERIFY(certificates.saveCertificateWithError(id, QStringLiteral("принтер не ответил")));
        QCOMPARE(certificates.certificate(id).value(QStringLiteral("IsSuccess")).toInt(), 0);
        QVERIFY(
            certificates.updateCertificateFilePaths(id, QStringLiteral("/d.odt"), QStringLiteral("/d.pdf")));
        QVERIFY(certificates.updateCertificate(id, {{QStringLiteral("Note"), QStringLiteral("новое")}}));
        row = certificates.certificate(id);
        QCOMPARE(row.value(QStringLiteral("Note")).toString(), QStringLiteral("новое"));
        QVERIFY(row.value(QStringLiteral("CustomerName")).isNull()); // an update writes all 30 fields
        QCOMPARE(certificates
                     .certificatesByDateRange(QDateTime::currentDateTimeUtc().addDays(-1),
                                              QDateTime::currentDateTimeUtc().addDays(1))
                     .size(),
                 1);
        QVERIFY(!certificates.updateCertificateFilePaths(9999, {}, {}));
        QVERIFY(certificates.deleteCertificate(id));
        QVERIFY(certificates.allCertificates().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestCertificates)
#include "test_certificates.moc"
