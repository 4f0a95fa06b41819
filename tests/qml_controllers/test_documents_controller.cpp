// The documents page's controller on a real profile: calibrations written against the simulated
// tachograph become list rows, a chosen one with the master's edits becomes a certificate (PDF,
// preview, database row, XML file and its checksum line) or a sticker, and prints go to a real CUPS.
#include "../support/cups_stand_in.h"
#include "../support/printer_dialog.h"
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
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

using namespace tachoria;
using namespace Qt::StringLiterals;

namespace {

const QString kSerial = u"2505001800001234"_s;

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
        m_first = test::writeCalibration(u"XTC549015N2570001"_s, u"А123ВС163"_s, &error);
        QVERIFY2(m_first > 0, qPrintable(error));
        m_second = test::writeCalibration(u"WDB9634031L000000"_s, u"Х999ХХ99"_s, &error);
        QVERIFY2(m_second > 0, qPrintable(error));
        QVERIFY2(test::writeCalibration(u"YV2XTY0A1KB000000"_s, u"В555ВВ55"_s, &error, true) > 0,
                 qPrintable(error));
        QVERIFY(storage::CustomerRepository().addCustomer(
                    u"ООО «ДЕМО-ТРАНС»"_s, u"Самара, ул. Примерная, 1"_s, u"+7 (846) 000-00-01"_s) > 0);
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
        QTest::newRow("all") << QString() << QString() << QStringList{u"Х999ХХ99"_s, u"А123ВС163"_s};
        QTest::newRow("registration in lower case") << u"а123"_s << QString() << QStringList{u"А123ВС163"_s};
        QTest::newRow("no customer yet") << QString() << u"ДЕМО"_s << QStringList{};
    }

    void listAndFilters()
    {
        QFETCH(QString, vehicle);
        QFETCH(QString, customer);
        QFETCH(QStringList, vehicles);
        documents().refresh(vehicle, customer);
        QStringList shown;
        for (const QVariant& row : documents().records())
            shown << row.toMap().value(u"vehicle"_s).toString();
        QCOMPARE(shown, vehicles);
        QCOMPARE(documents().recordModel()->rowCount(), vehicles.size());
        if (vehicles.isEmpty())
            return;
        const QVariantMap row = documents().records().constLast().toMap();
        QCOMPARE(row.value(u"serial"_s).toString(), kSerial);
        QCOMPARE(row.value(u"date"_s).toString().left(10), QDate::currentDate().toString(u"dd.MM.yyyy"_s));
        QVERIFY(!row.value(u"nextCalibration"_s).toString().isEmpty());
    }

    // The document's fields come from the record, the master's edits, the customer directory and the shop.
    void documentDataOfTheChosenRecord()
    {
        QSignalSpy status(&documents(), &qml::QmlDocumentsController::statusChanged);
        documents().select(m_first);
        QCOMPARE(documents().statusText(), u"Запись выбрана"_s);
        QCOMPARE(status.size(), 1);
        documents().updateSelectedValue(u"CustomerName"_s, u"ООО «ДЕМО-ТРАНС»"_s);
        documents().updateSelectedValue(u"OrderNumber"_s, u"1542"_s);
        documents().updateSelectedValue(u"Note"_s, u"  "_s);
        const QVariantMap data = documents().certificateData();
        const QVariantMap record = storage::CalibrationRepository().calibration(m_first);
        const QString expected =
            u"VehicleVin=XTC549015N2570001|VehicleRegNumber=А123ВС163|TachographSerialNumber="
            u"2505001800001234|"
            "TachographSkzi=7800000000000417|TachographSettingsL=3150|OrderNumber=1542|Inspection=Нет|"
            "CustomerAddress=Самара, ул. Примерная, 1|CustomerPhone=+7 (846) 000-00-01|TachoriaStigma=12345|"
            "SetupTable=Стойка двери водителя|Note=Эксплуатация только на территории РФ.|"
            "TachoriaAddress=Московское шоссе, 17, Самара, 443080"_s;
        for (const QString& pair : expected.split(u'|'))
            QCOMPARE(data.value(pair.section(u'=', 0, 0)).toString(), pair.section(u'=', 1));
        QCOMPARE(data.value(u"TachographSettingsW"_s).toString(),
                 record.value(u"WVehicleCharacteristicConstant"_s).toString());
        QCOMPARE(data.value(u"TachographModel"_s).toString(),
                 u"Орвиан исп. "_s + record.value(u"VuPartNumber"_s).toString().trimmed());
        QCOMPARE(data.value(u"OrderDate"_s), record.value(u"RecordDateTime"_s));
        QCOMPARE(data.size(), storage::CertificateXmlStorage::fieldNames().size());
        // An edited address stays; an emptied phone comes from the customer directory.
        documents().updateSelectedValue(u"CustomerAddress"_s, u"Тольятти"_s);
        documents().updateSelectedValue(u"CustomerPhone"_s, QString());
        const QVariantMap filled = documents().certificateData();
        QCOMPARE(filled.value(u"CustomerAddress"_s).toString(), u"Тольятти"_s);
        QCOMPARE(filled.value(u"CustomerPhone"_s).toString(), u"+7 (846) 000-00-01"_s);
    }

    // A certificate: the PDF, the preview, a row, the XML file and one checksum line; issued again, a
    // second row but no second XML; a sticker makes no row.
    void certificateAndSticker()
    {
        documents().refresh();
        documents().select(m_first);
        documents().updateSelectedValue(u"CustomerName"_s, u"ООО «ДЕМО-ТРАНС»"_s);
        documents().updateSelectedValue(u"OrderNumber"_s, u"1542"_s);
        QVERIFY(documents().createCertificate());
        QCOMPARE(documents().statusText(),
                 u"Сертификат создан. Для печати нажмите «Печать…» в предпросмотре"_s);
        QCOMPARE(documents().lastError(), QString());
        const QString day = QDate::currentDate().toString(u"dd_MM_yyyy"_s);
        const QString pdf =
            storage::AppPaths::data() + u"/Сертификаты/Сертификат_%1_%2.pdf"_s.arg(day, kSerial);
        QCOMPARE(documents().lastPdfPath(), pdf);
        QVERIFY(QFile::exists(pdf));
        QVERIFY(QFile::exists(QUrl(documents().previewSource()).toLocalFile()));
        QCOMPARE(documents().previewTitle(), u"Предпросмотр сертификата"_s);

        const QVariantMap data = documents().certificateData();
        const QString checksum = storage::CertificateXmlStorage::checksum(data);
        storage::CertificateXmlStorage xml;
        QCOMPARE(lines(xml.checksumsPath()), QStringList{checksum + QLatin1Char('|') +
                                                         storage::CertificateXmlStorage::fileNameFor(data)});
        QVERIFY(xml.verifyCertificateIntegrity(xml.folderPath() + QLatin1Char('/') +
                                               storage::CertificateXmlStorage::fileNameFor(data)));
        QList<QVariantMap> rows = storage::CertificateRepository().allCertificates();
        QCOMPARE(rows.size(), 1);
        QCOMPARE(rows.first().value(u"DocumentPath"_s).toString(), checksum);
        QCOMPARE(rows.first().value(u"PdfPath"_s).toString(), pdf);
        const QVariantMap record = storage::CalibrationRepository().calibration(m_first);
        QCOMPARE(record.value(u"CustomerName"_s).toString(), u"ООО «ДЕМО-ТРАНС»"_s);
        QCOMPARE(record.value(u"OrderNumber"_s).toInt(), 1542);
        // The list's row of the record shows them at once, by the roles the page reads.
        const qml::DocumentRecordModel& model = *documents().recordModel();
        const auto role = [&model](const QByteArray& name) { return model.roleNames().key(name); };
        int row = 0;
        while (row < model.rowCount() && model.index(row).data(role("id")).toInt() != m_first)
            ++row;
        QCOMPARE(model.index(row).data(role("order")).toString(), u"1542"_s);
        QCOMPARE(model.index(row).data(role("customer")).toString(), u"ООО «ДЕМО-ТРАНС»"_s);

        QVERIFY(documents().createCertificate());
        QCOMPARE(storage::CertificateRepository().allCertificates().size(), 2);
        QCOMPARE(lines(xml.checksumsPath()).size(), 1);

        QVERIFY(documents().createSticker());
        QVERIFY(documents().previewIsSticker());
        QVERIFY(
            QFile::exists(storage::AppPaths::data() + u"/Наклейки/Наклейка_%1_%2.pdf"_s.arg(day, kSerial)));
        QCOMPARE(storage::CertificateRepository().allCertificates().size(), 2);
    }

    void fileNames_data()
    {
        QTest::addColumn<QString>("recordDate");
        QTest::addColumn<QString>("serial");
        QTest::addColumn<QString>("name");
        QTest::newRow("date with slashes")
            << u"12/03/2026"_s << kSerial << u"Сертификат_12_03_2026_"_s + kSerial + u".pdf"_s;
        QTest::newRow("no serial") << u"2026-03-12 09:15:00"_s << QString()
                                   << u"Сертификат_12_03_2026_unknown.pdf"_s;
        QTest::newRow("no date, serial with a blank")
            << QString() << u"AB 12"_s
            << u"Сертификат_%1_AB_12.pdf"_s.arg(QDate::currentDate().toString(u"dd_MM_yyyy"_s));
    }

    void fileNames()
    {
        QFETCH(QString, recordDate);
        QFETCH(QString, serial);
        QFETCH(QString, name);
        documents().select(m_second);
        documents().updateSelectedValue(u"RecordDateTime"_s, recordDate);
        documents().updateSelectedValue(u"VuSerialNumber"_s, serial);
        QVERIFY(documents().createCertificate());
        QCOMPARE(QFileInfo(documents().lastPdfPath()).fileName(), name);
    }

    // Bad requests say why and change nothing: the selection and its edits stay.
    void refusals()
    {
        documents().clearSelection();
        QVERIFY(!documents().createSticker());
        QCOMPARE(documents().lastError(), u"Сначала выберите запись калибровки"_s);
        QCOMPARE(documents().statusText(), u"Документ не создан"_s);
        QVERIFY(!documents().removeSelected());
        QCOMPARE(documents().statusText(), u"Не удалось удалить запись"_s);
        documents().select(99999);
        QCOMPARE(documents().statusText(), u"Запись не найдена"_s);
        QVERIFY(!documents().hasSelection());

        // A file where the stickers' folder should be: the PDF cannot be made.
        const QString folder = storage::AppPaths::data() + u"/Наклейки"_s;
        QVERIFY(QDir(folder).removeRecursively());
        QFile blocker(folder);
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        documents().select(m_second);
        documents().updateSelectedValue(u"OrderNumber"_s, u"77"_s);
        QVERIFY(!documents().createSticker());
        QCOMPARE(documents().statusText(), u"Ошибка формирования документа"_s);
        QVERIFY2(documents().lastError().startsWith(u"Не удалось создать PDF: "_s),
                 qPrintable(documents().lastError()));
        QCOMPARE(documents().selected().value(u"OrderNumber"_s).toString(), u"77"_s);
        QVERIFY(QFile::remove(folder));
    }

    void printing()
    {
        qml::QmlDocumentsController fresh(m_app.get());
        QVERIFY(!fresh.printPreview({}));
        QCOMPARE(fresh.lastError(), u"Нет документа для печати"_s);
        QCOMPARE(fresh.statusText(), u"Печать не выполнена"_s);
        if (!test::CupsStandIn::unavailableReason().isEmpty())
            QSKIP(qPrintable(test::CupsStandIn::unavailableReason()));
        test::CupsStandIn cups;
        QString error;
        QVERIFY2(cups.start(&error) && cups.addPdfPrinter(u"TachoriaSheet"_s, &error) &&
                     cups.addLabelPrinter(u"TachoriaTape"_s, &error),
                 qPrintable(error));
        documents().select(m_first);
        QVERIFY(documents().createCertificate());
        QVERIFY(documents().printPreview({{u"printerName"_s, u"TachoriaSheet"_s}}));
        QCOMPARE(documents().statusText(), u"Документ отправлен на печать"_s);
        QTRY_COMPARE_WITH_TIMEOUT(cups.printedFiles(u"TachoriaSheet"_s).size(), 1, 60000);
        QVERIFY(!documents().printPreview({{u"printerName"_s, u"Нет_такого"_s}}));
        QCOMPARE(documents().statusText(), u"Печать не выполнена"_s);
        QCOMPARE(documents().lastError(), u"Принтер не найден: Нет_такого"_s);

        // The tape chosen in the driver's dialog, and that dialog cancelled: a choice, not an error.
        QVERIFY(documents().createSticker());
        const QVariantMap driver{{u"printerName"_s, u"TachoriaTape"_s}, {u"paper"_s, u"driver"_s}};
        test::answerNextDialog(false);
        QVERIFY(!documents().printPreview(driver));
        QCOMPARE(documents().statusText(), u"Печать отменена"_s);
        QCOMPARE(documents().lastError(), QString());
        test::answerNextDialog(true);
        QVERIFY(documents().printPreview(driver));
        QTRY_COMPARE_WITH_TIMEOUT(cups.printedFiles(u"TachoriaTape"_s).size(), 1, 60000);
    }

    void openFolderAndRemove()
    {
        QDesktopServices::setUrlHandler(u"file"_s, this, "openUrl");
        QVERIFY(documents().openDataFolder(u"Наклейки"_s));
        QCOMPARE(m_opened, QUrl::fromLocalFile(storage::AppPaths::data() + u"/Наклейки"_s));
        QVERIFY(QFileInfo(m_opened.toLocalFile()).isDir());
        QDesktopServices::unsetUrlHandler(u"file"_s);

        documents().refresh();
        documents().select(m_second);
        QVERIFY(documents().removeSelected());
        QCOMPARE(documents().statusText(), u"Запись удалена"_s);
        QVERIFY(!documents().hasSelection());
        QCOMPARE(documents().records().size(), 1);
        QVERIFY(storage::CalibrationRepository().calibration(m_second).isEmpty());
    }
};

QTEST_MAIN(TestDocumentsController)
#include "test_documents_controller.moc"
