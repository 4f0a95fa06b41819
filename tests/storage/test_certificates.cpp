#include "storage/certificate_repository.h"
#include "storage/certificate_xml_storage.h"
#include "storage_test_profile.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <sys/resource.h>

using namespace tachoria::storage;
using namespace Qt::StringLiterals;

namespace {

QVariantMap sample()
{
    return {{u"OrderNumber"_s, u"17"_s},
            {u"OrderDate"_s, u"01.02.2024 10:30"_s},
            {u"CustomerName"_s, u"ООО «Рога и копыта»"_s},
            {u"TachographSerialNumber"_s, u"2505001800001234"_s},
            {u"VehicleOdometr"_s, u"123456"_s},
            {u"Note"_s, u"без замечаний"_s}};
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
        QTest::newRow("nothing known") << QVariantMap{} << u"unknown_nodate.xml"_s;
        QTest::newRow("date with time") << sample() << u"2505001800001234_01.02.2024_10_30.xml"_s;
        QTest::newRow("slashes") << QVariantMap{{u"TachographSerialNumber"_s, u"A/B"_s},
                                                {u"OrderDate"_s, u"01/02/2024"_s}}
                                 << u"A_B_01_02_2024.xml"_s;
        QTest::newRow("every forbidden character")
            << QVariantMap{{u"TachographSerialNumber"_s, u"<a>\"|?*"_s}, {u"OrderDate"_s, u"01\\02 2024:"_s}}
            << u"_a______01_02_2024_.xml"_s;
    }

    void fileNames()
    {
        QFETCH(QVariantMap, certificate);
        QTEST(CertificateXmlStorage::fileNameFor(certificate), "name");
    }

    // The 30 fields in the order of the checksum and of the file, and the checksum itself: SHA-256 over
    // the fields and the salt joined by "|", in Base64 for file names.
    void layout()
    {
        QCOMPARE(
            CertificateRepository::fields().join(u' '),
            u"OrderNumber OrderMaster OrderDate OrderResponsible CustomerName CustomerAddress CustomerPhone "
            u"VehicleMark VehicleVin VehicleTyreMarking VehicleModel VehicleRegNumber VehicleOdometr "
            u"TachographManufacture TachographSerialNumber TachographSkzi TachographModel "
            u"TachographDateOfManufacture TachographSettingsW TachographSettingsK TachographSettingsL "
            u"TachographSettingsNextCalibr Inspection Manipulation SetupTable Note TachoriaStigma "
            u"TachoriaName "
            u"TachoriaAddress TachoriaPhone"_s);
        QStringList items;
        for (const QString& field : CertificateRepository::fields())
            items << sample().value(field).toString();
        const QByteArray hash = QCryptographicHash::hash(
            (items.join(u'|') + u"|ThisPepperX1987#Tachoria!"_s).toUtf8(), QCryptographicHash::Sha256);
        QCOMPARE(CertificateXmlStorage::checksum(sample()),
                 QString::fromLatin1(
                     hash.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals)));
        CertificateXmlStorage storage(m_folder.filePath(u"layout/deeper"_s));
        const QByteArray xml = contents(storage.saveCertificate(sample()));
        QVERIFY2(xml.startsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<CertificateData>\n    "
                                "<OrderNumber>17</OrderNumber>\n    <OrderMaster></OrderMaster>\n"),
                 xml.left(200).constData());
        QVERIFY(xml.endsWith("    <TachoriaPhone></TachoriaPhone>\n</CertificateData>\n") &&
                xml.count('\n') == 33);
        QString error;
        QVERIFY(QDir(storage.folderPath()).mkpath(u"in the way/"_s + CertificateXmlStorage::fileNameFor({})));
        CertificateXmlStorage blocked(storage.folderPath() + u"/in the way"_s);
        QVERIFY(blocked.saveCertificate({}, nullptr, &error).isEmpty() && !error.isEmpty());
        for (const QByteArray& broken : {QByteArray("<CertificateData><Note>x</Note>"), QByteArray("<a>")}) {
            QFile file(m_folder.filePath(u"layout/deeper/broken.xml"_s));
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write(broken) > 0);
            file.close();
            QCOMPARE(storage.loadCertificate(file.fileName(), &error), QVariantMap());
            QVERIFY(!error.isEmpty() && !storage.verifyCertificateIntegrity(file.fileName()));
        }
    }

    void checksum()
    {
        const QString sum = CertificateXmlStorage::checksum(sample());
        QCOMPARE(sum.size(), 43);
        QVERIFY(!sum.contains(QLatin1Char('/')) && !sum.contains(QLatin1Char('+')) &&
                !sum.contains(QLatin1Char('=')));
        QVariantMap outside = sample();
        outside.insert(u"DocumentPath"_s, u"/elsewhere.pdf"_s);
        QCOMPARE(CertificateXmlStorage::checksum(outside), sum); // fields outside the list take no part
        QVariantMap changed = sample();
        changed.insert(u"Note"_s, u"иначе"_s);
        QVERIFY(CertificateXmlStorage::checksum(changed) != sum);
        QCOMPARE(CertificateRepository::fields().size(), 30);
    }

    void writeReadVerify()
    {
        CertificateXmlStorage storage(m_folder.filePath(u"xml"_s));
        QString sum;
        QString error;
        const QString path = storage.saveCertificate(sample(), &sum, &error);
        QVERIFY2(!path.isEmpty(), qPrintable(error));
        QCOMPARE(sum, CertificateXmlStorage::checksum(sample()));
        QVERIFY(storage.isCertificateExists(sum));
        QCOMPARE(storage.allChecksums().value(sum), u"2505001800001234_01.02.2024_10_30.xml"_s);
        QVERIFY(contents(storage.checksumsPath())
                    .endsWith((sum + u"|2505001800001234_01.02.2024_10_30.xml\n"_s).toUtf8()));

        const QVariantMap loaded = storage.loadCertificate(path, &error);
        QCOMPARE(loaded.size(), 30);
        QCOMPARE(loaded.value(u"CustomerName"_s).toString(), u"ООО «Рога и копыта»"_s);
        QVERIFY(storage.verifyCertificateIntegrity(path, &error));

        // A changed element fails the check; an extra one is loaded but takes no part.
        QByteArray xml = contents(path);
        xml.replace("<Note>без замечаний</Note>", "<Extra>x</Extra><Note>без замечаний</Note>");
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(xml);
        file.close();
        QCOMPARE(storage.loadCertificate(path).value(u"Extra"_s).toString(), u"x"_s);
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
        QVERIFY(!storage.loadCertificate(m_folder.filePath(u"missing.xml"_s), &error).size());
        QVERIFY(!error.isEmpty());
    }

    // A disk that fills up in the middle of the write: the earlier file of that name stays whole.
    void failedWriteKeepsTheOldFile()
    {
        CertificateXmlStorage storage(m_folder.filePath(u"full"_s));
        QString error;
        const QString path = storage.saveCertificate(sample(), nullptr, &error);
        QVERIFY(!path.isEmpty());
        const QByteArray before = contents(path);
        const QByteArray listBefore = contents(storage.checksumsPath());

        QVariantMap huge = sample();
        huge.insert(u"Note"_s, QString(200000, QLatin1Char('x')));
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
        const int id = certificates.saveCertificate(sample(), u"/docs/c.odt"_s, u"/docs/c.pdf"_s, true);
        QVERIFY(id > 0);
        QVariantMap row = certificates.certificate(id);
        QCOMPARE(row.value(u"VehicleOdometr"_s).toString(), u"123456"_s);
        QVERIFY(row.value(u"VehicleVin"_s).isNull()); // absent fields are NULL
        QCOMPARE(row.value(u"IsSuccess"_s).toInt(), 1);
        QCOMPARE(certificates.searchCertificates(u"рога"_s).size(), 1);
        QCOMPARE(certificates.certificatesBySerialNumber(u"2505001800001234"_s).size(), 1);
        QVERIFY(certificates.saveCertificateWithError(id, u"принтер не ответил"_s));
        QCOMPARE(certificates.certificate(id).value(u"IsSuccess"_s).toInt(), 0);
        QVERIFY(certificates.updateCertificateFilePaths(id, u"/d.odt"_s, u"/d.pdf"_s));
        QVERIFY(certificates.updateCertificate(id, {{u"Note"_s, u"новое"_s}}));
        row = certificates.certificate(id);
        QCOMPARE(row.value(u"Note"_s).toString(), u"новое"_s);
        QVERIFY(row.value(u"CustomerName"_s).isNull()); // an update writes all 30 fields
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
