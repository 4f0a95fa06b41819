// The documents page's controller on a real profile: calibrations written against the simulated
// tachograph become list rows, a chosen one with the master's edits becomes a certificate (PDF,
// preview, database row, XML file and its checksum line) or a sticker, and prints go to a real CUPS.
#include "../support/cups_stand_in.h"
#include "../support/shop_profile.h"
#include "../support/written_calibration.h"
#include "qml_controllers/qml_app_controller.h"
#include "qml_controllers/qml_documents_controller.h"
#include "storage/app_paths.h"
#include "storage/calibration_repository.h"
#include "storage/certificate_repository.h"
#include "storage/certificate_xml_storage.h"
#include "storage/customer_master_repositories.h"

#include <QDate>
#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

using namespace tachoria;

namespace {

const QString kSerial = QStringLiteral("2505001800001234");

QStringList lines(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

} // namespace

class TestDocumentsController : public QObject
{
    Q_OBJECT

    QTemporaryDir m_profile;
    std::unique_ptr<qml::QmlAppController> m_app;
    int m_first = -1;
    int m_second = -1;
    QUrl m_opened;

    qml::QmlDocumentsController& documents() { return *m_app->documents(); }

public Q_SLOTS:
    void openUrl(const QUrl& url) { m_opened = url; }

private Q_SLOTS:
    void initTestCase()
    {
        qputenv("LOCALAPPDATA", m_profile.path().toUtf8());
        QString error;
        m_first =
            test::writeCalibration(QStringLiteral("XTC549015N2570001"), QStringLiteral("А123ВС163"), &error);
        QVERIFY2(m_first > 0, qPrintable(error));
        m_second =
            test::writeCalibration(QStringLiteral("WDB9634031L000000"), QStringLiteral("Х999ХХ99"), &error);
        QVERIFY2(m_second > 0, qPrintable(error));
        QVERIFY2(test::writeCalibration(QStringLiteral("YV2XTY0A1KB000000"), QStringLiteral("В555ВВ55"),
                                        &error, true) > 0,
                 qPrintable(error));
        QVERIFY(storage::CustomerRepository().addCustomer(QStringLiteral("ООО «ДЕМО-ТРАНС»"),
                                                          QStringLiteral("Самара, ул. Примерная, 1"),
                                                          QStringLiteral("+7 (846) 000-00-01")) > 0);
        m_app = std::make_unique<qml::QmlAppController>();
        QVERIFY(test::storeShop());
    }

    void cleanupTestCase() { m_app.reset(); }

    // Only successful calibrations are listed, newest first, and the filters narrow them.
    void listAndFilters_data()
    {
        QTest::addColumn<QString>("vehicle");
        QTest::addColumn<QString>("customer");
        QTest::addColumn<QStringList>("vehicles");
        QTest::newRow("all") << QString() << QString()
                             << QStringList{QStringLiteral("Х999ХХ99"), QStringLiteral("А123ВС163")};
        QTest::newRow("registration in lower case")
            << QStringLiteral("а123") << QString() << QStringList{QStringLiteral("А123ВС163")};
        QTest::newRow("no customer yet") << QString() << QStringLiteral("ДЕМО") << QStringList{};
    }

    void listAndFilters()
    {
        QFETCH(QString, vehicle);
        QFETCH(QString, customer);
        QFETCH(QStringList, vehicles);
        documents().refresh(vehicle, customer);
        QStringList shown;
        for (const QVariant& row : documents().records())
            shown << row.toMap().value(QStringLiteral("vehicle")).toString();
        QCOMPARE(shown, vehicles);
        QCOMPARE(documents().recordModel()->rowCount(), vehicles.size());
        if (vehicles.isEmpty())
            return;
        const QVariantMap row = documents().records().constLast().toMap();
        QCOMPARE(row.value(QStringLiteral("serial")).toString(), kSerial);
        QCOMPARE(row.value(QStringLiteral("date")).toString().left(10),
                 QDate::currentDate().toString(QStringLiteral("dd.MM.yyyy")));
        QVERIFY(!row.value(QStringLiteral("nextCalibration")).toString().isEmpty());
    }

    // The document's fields come from the record, the master's edits, the customer directory and the shop.
    void documentDataOfTheChosenRecord()
    {
        documents().select(m_first);
        QCOMPARE(documents().statusText(), QStringLiteral("Запись выбрана"));
        documents().updateSelectedValue(QStringLiteral("CustomerName"), QStringLiteral("ООО «ДЕМО-ТРАНС»"));
        documents().updateSelectedValue(QStringLiteral("OrderNumber"), QStringLiteral("1542"));
        documents().updateSelectedValue(QStringLiteral("Note"), QStringLiteral("  "));
        const QVariantMap data = documents().certificateData();
        const QVariantMap record = storage::CalibrationRepository().calibration(m_first);
        const QVariantMap expected{
            {QStringLiteral("VehicleVin"), QStringLiteral("XTC549015N2570001")},
            {QStringLiteral("VehicleRegNumber"), QStringLiteral("А123ВС163")},
            {QStringLiteral("TachographSerialNumber"), kSerial},
            {QStringLiteral("TachographSkzi"), QStringLiteral("7800000000000417")},
            {QStringLiteral("TachographSettingsL"), QStringLiteral("3150")},
            {QStringLiteral("TachographSettingsW"),
             record.value(QStringLiteral("WVehicleCharacteristicConstant")).toString()},
            {QStringLiteral("TachographModel"),
             QStringLiteral("Орвиан исп. ") +
                 record.value(QStringLiteral("VuPartNumber")).toString().trimmed()},
            {QStringLiteral("OrderDate"), record.value(QStringLiteral("RecordDateTime")).toString()},
            {QStringLiteral("OrderNumber"), QStringLiteral("1542")},
            {QStringLiteral("CustomerAddress"), QStringLiteral("Самара, ул. Примерная, 1")},
            {QStringLiteral("CustomerPhone"), QStringLiteral("+7 (846) 000-00-01")},
            {QStringLiteral("Inspection"), QStringLiteral("Нет")},
            {QStringLiteral("SetupTable"), QStringLiteral("Стойка двери водителя")},
            {QStringLiteral("Note"), QStringLiteral("Эксплуатация только на территории РФ.")},
            {QStringLiteral("TachoriaStigma"), QStringLiteral("12345")},
            {QStringLiteral("TachoriaAddress"), QStringLiteral("Московское шоссе, 17, Самара, 443080")},
        };
        for (auto it = expected.cbegin(); it != expected.cend(); ++it)
            QCOMPARE(data.value(it.key()).toString(), it.value().toString());
        QVERIFY(!data.value(QStringLiteral("TachographSettingsW")).toString().isEmpty());
        QCOMPARE(data.size(), storage::CertificateXmlStorage::fieldNames().size());
    }

    // A certificate: the PDF, the preview, a row, the XML file and one checksum line; issued again, a
    // second row but no second XML; a sticker makes no row.
    void certificateAndSticker()
    {
        documents().select(m_first);
        documents().updateSelectedValue(QStringLiteral("CustomerName"), QStringLiteral("ООО «ДЕМО-ТРАНС»"));
        documents().updateSelectedValue(QStringLiteral("OrderNumber"), QStringLiteral("1542"));
        QVERIFY(documents().createCertificate());
        QCOMPARE(documents().statusText(),
                 QStringLiteral("Сертификат создан. Для печати нажмите «Печать…» в предпросмотре"));
        QCOMPARE(documents().lastError(), QString());
        const QString day = QDate::currentDate().toString(QStringLiteral("dd_MM_yyyy"));
        const QString pdf =
            storage::AppPaths::data() + QStringLiteral("/Сертификаты/Сертификат_%1_%2.pdf").arg(day, kSerial);
        QCOMPARE(documents().lastPdfPath(), pdf);
        QVERIFY(QFile::exists(pdf));
        QVERIFY(QFile::exists(QUrl(documents().previewSource()).toLocalFile()));
        QCOMPARE(documents().previewTitle(), QStringLiteral("Предпросмотр сертификата"));

        const QVariantMap data = documents().certificateData();
        const QString checksum = storage::CertificateXmlStorage::checksum(data);
        storage::CertificateXmlStorage xml;
        QCOMPARE(lines(xml.checksumsPath()), QStringList{checksum + QLatin1Char('|') +
                                                         storage::CertificateXmlStorage::fileNameFor(data)});
        QVERIFY(xml.verifyCertificateIntegrity(xml.folderPath() + QLatin1Char('/') +
                                               storage::CertificateXmlStorage::fileNameFor(data)));
        QList<QVariantMap> rows = storage::CertificateRepository().allCertificates();
        QCOMPARE(rows.size(), 1);
        QCOMPARE(rows.first().value(QStringLiteral("DocumentPath")).toString(), checksum);
        QCOMPARE(rows.first().value(QStringLiteral("PdfPath")).toString(), pdf);
        const QVariantMap record = storage::CalibrationRepository().calibration(m_first);
        QCOMPARE(record.value(QStringLiteral("CustomerName")).toString(), QStringLiteral("ООО «ДЕМО-ТРАНС»"));
        QCOMPARE(record.value(QStringLiteral("OrderNumber")).toInt(), 1542);

        QVERIFY(documents().createCertificate());
        QCOMPARE(storage::CertificateRepository().allCertificates().size(), 2);
        QCOMPARE(lines(xml.checksumsPath()).size(), 1);

        QVERIFY(documents().createSticker());
        QVERIFY(documents().previewIsSticker());
        QVERIFY(QFile::exists(storage::AppPaths::data() +
                              QStringLiteral("/Наклейки/Наклейка_%1_%2.pdf").arg(day, kSerial)));
        QCOMPARE(storage::CertificateRepository().allCertificates().size(), 2);
    }

    void fileNames_data()
    {
        QTest::addColumn<QString>("recordDate");
        QTest::addColumn<QString>("serial");
        QTest::addColumn<QString>("name");
        QTest::newRow("date with slashes")
            << QStringLiteral("12/03/2026") << kSerial
            << QStringLiteral("Сертификат_12_03_2026_") + kSerial + QStringLiteral(".pdf");
        QTest::newRow("no serial") << QStringLiteral("2026-03-12 09:15:00") << QString()
                                   << QStringLiteral("Сертификат_12_03_2026_unknown.pdf");
        QTest::newRow("no date, serial with a blank")
            << QString() << QStringLiteral("AB 12")
            << QStringLiteral("Сертификат_%1_AB_12.pdf")
                   .arg(QDate::currentDate().toString(QStringLiteral("dd_MM_yyyy")));
    }

    void fileNames()
    {
        QFETCH(QString, recordDate);
        QFETCH(QString, serial);
        QFETCH(QString, name);
        documents().select(m_second);
        documents().updateSelectedValue(QStringLiteral("RecordDateTime"), recordDate);
        documents().updateSelectedValue(QStringLiteral("VuSerialNumber"), serial);
        QVERIFY(documents().createCertificate());
        QCOMPARE(QFileInfo(documents().lastPdfPath()).fileName(), name);
    }

    // Bad requests say why and change nothing: the selection and its edits stay.
    void refusals()
    {
        documents().clearSelection();
        QVERIFY(!documents().createSticker());
        QCOMPARE(documents().lastError(), QStringLiteral("Сначала выберите запись калибровки"));
        QCOMPARE(documents().statusText(), QStringLiteral("Документ не создан"));
        QVERIFY(!documents().removeSelected());
        QCOMPARE(documents().statusText(), QStringLiteral("Не удалось удалить запись"));
        documents().select(99999);
        QCOMPARE(documents().statusText(), QStringLiteral("Запись не найдена"));
        QVERIFY(!documents().hasSelection());

        // A file where the stickers' folder should be: the PDF cannot be made.
        const QString folder = storage::AppPaths::data() + QStringLiteral("/Наклейки");
        QVERIFY(QDir(folder).removeRecursively());
        QFile blocker(folder);
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        documents().select(m_second);
        documents().updateSelectedValue(QStringLiteral("OrderNumber"), QStringLiteral("77"));
        QVERIFY(!documents().createSticker());
        QCOMPARE(documents().statusText(), QStringLiteral("Ошибка формирования документа"));
        QVERIFY2(documents().lastError().startsWith(QStringLiteral("Не удалось создать PDF: ")),
                 qPrintable(documents().lastError()));
        QCOMPARE(documents().selected().value(QStringLiteral("OrderNumber")).toString(),
                 QStringLiteral("77"));
        QVERIFY(QFile::remove(folder));
    }

    void printing()
    {
        qml::QmlDocumentsController fresh(m_app.get());
        QVERIFY(!fresh.printPreview({}));
        QCOMPARE(fresh.lastError(), QStringLiteral("Нет документа для печати"));
        QCOMPARE(fresh.statusText(), QStringLiteral("Печать не выполнена"));
        if (!test::CupsStandIn::unavailableReason().isEmpty())
            QSKIP(qPrintable(test::CupsStandIn::unavailableReason()));
        test::CupsStandIn cups;
        QString error;
        QVERIFY2(cups.start(&error) && cups.addPdfPrinter(QStringLiteral("TachoriaSheet"), &error),
                 qPrintable(error));
        documents().select(m_first);
        QVERIFY(documents().createCertificate());
        QVERIFY(documents().printPreview({{QStringLiteral("printerName"), QStringLiteral("TachoriaSheet")}}));
        QCOMPARE(documents().statusText(), QStringLiteral("Документ отправлен на печать"));
        QTRY_COMPARE_WITH_TIMEOUT(cups.printedFiles(QStringLiteral("TachoriaSheet")).size(), 1, 60000);
        QVERIFY(!documents().printPreview({{QStringLiteral("printerName"), QStringLiteral("Нет_такого")}}));
        QCOMPARE(documents().statusText(), QStringLiteral("Печать не выполнена"));
        QCOMPARE(documents().lastError(), QStringLiteral("Принтер не найден: Нет_такого"));
    }

    void openFolderAndRemove()
    {
        QDesktopServices::setUrlHandler(QStringLiteral("file"), this, "openUrl");
        QVERIFY(documents().openDataFolder(QStringLiteral("Наклейки")));
        QCOMPARE(m_opened, QUrl::fromLocalFile(storage::AppPaths::data() + QStringLiteral("/Наклейки")));
        QVERIFY(QFileInfo(m_opened.toLocalFile()).isDir());
        QDesktopServices::unsetUrlHandler(QStringLiteral("file"));

        documents().refresh();
        documents().select(m_second);
        QVERIFY(documents().removeSelected());
        QCOMPARE(documents().statusText(), QStringLiteral("Запись удалена"));
        QVERIFY(!documents().hasSelection());
        QCOMPARE(documents().records().size(), 1);
        QVERIFY(storage::CalibrationRepository().calibration(m_second).isEmpty());
    }
};

QTEST_MAIN(TestDocumentsController)
#include "test_documents_controller.moc"
