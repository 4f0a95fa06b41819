// The documents page through the real window: a calibration written against the simulated tachograph
// is listed, the master completes it and makes the certificate (PDF, preview, record, XML with its
// checksum line) and the sticker, sees the preview, and prints to a real CUPS queue.
#include "../support/cups_stand_in.h"
#include "../support/pdf_pages.h"
#include "../support/shop_profile.h"
#include "../support/window_driver.h"
#include "../support/written_calibration.h"
#include "qml_controllers/qml_app_controller.h"
#include "storage/app_paths.h"
#include "storage/certificate_repository.h"
#include "storage/certificate_xml_storage.h"
#include "storage/customer_master_repositories.h"
#include "storage/settings_repository.h"

#include <QDir>
#include <QFile>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>

using namespace Qt::StringLiterals;
using tachoria::test::WindowDriver;

namespace {

const QString kVin = u"XTC549015N2570001"_s;
const QString kQueue = u"TachoriaOffice"_s;

int count(WindowDriver& window, const QString& list)
{
    QQuickItem* view = window.find(list);
    return view ? view->property("count").toInt() : -1;
}

// The shop's data, a master and a customer, and no port scanning: the documents need no tachograph.
void prepareProfile()
{
    tachoria::storage::SettingsRepository settings;
    settings.setValue(u"Program"_s, u"ScanPorts"_s, 0, u"Bool"_s);
    tachoria::test::storeShop();
    tachoria::storage::MasterRepository().addMaster(u"Иванов Иван Иванович"_s);
    tachoria::storage::CustomerRepository().addCustomer(u"ООО «ДЕМО-ТРАНС»"_s, u"Самара, ул. Примерная, 1"_s,
                                                        u"+7 (846) 000-00-01"_s);
}

} // namespace

class TestWindowDocuments : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void certificateAndStickerOfAWrittenCalibration()
    {
        WindowDriver window;
        prepareProfile();
        QString error;
        const int id = tachoria::test::writeCalibration(kVin, u"А123ВС163"_s, &error);
        QVERIFY2(id > 0, qPrintable(error));
        std::unique_ptr<tachoria::test::CupsStandIn> cups;
        if (tachoria::test::CupsStandIn::unavailableReason().isEmpty()) {
            cups = std::make_unique<tachoria::test::CupsStandIn>();
            QVERIFY2(cups->start(&error) && cups->addPdfPrinter(kQueue, &error) &&
                         cups->setDefaultPrinter(kQueue),
                     qPrintable(error));
        }
        QVERIFY(window.start());

        QTRY_VERIFY(window.find(u"documentsTile"_s)->isEnabled());
        QVERIFY(window.click(u"documentsTile"_s));
        QTRY_VERIFY(window.findVisible(u"documentsPage"_s));
        QCOMPARE(window.window()->title(), u"Документы"_s);
        QTRY_COMPARE(count(window, u"recordList"_s), 1);
        QVERIFY(!window.find(u"tabDocuments"_s)->isEnabled());
        QVERIFY(window.click(u"record_%1"_s.arg(id)));
        QTRY_COMPARE(window.text(u"documentsStatus"_s), u"Запись выбрана"_s);
        QVERIFY(window.click(u"tabDocuments"_s));
        // A record without master and customer takes the first of each directory.
        QTRY_COMPARE(window.find(u"docMaster"_s)->property("displayText").toString(),
                     u"Иванов Иван Иванович"_s);
        QCOMPARE(window.text(u"docCustomerPhone"_s), u"+7 (846) 000-00-01"_s);
        QCOMPARE(window.text(u"docVin"_s), kVin);
        QVERIFY(window.type(u"docOrderNumber"_s, u"1542"_s));
        QVERIFY(window.type(u"docVehicleMark"_s, u"КАМАЗ"_s));
        // The field's limit holds what is typed: a VIN has 17 characters.
        QVERIFY(window.type(u"docVin"_s, kVin + u"99"_s));
        QCOMPARE(window.text(u"docVin"_s), kVin);

        QVERIFY(window.click(u"certificateButton"_s));
        QTRY_VERIFY(window.dialogOpen(u"documentPreview"_s));
        QTRY_COMPARE(window.find(u"previewImage"_s)->property("status").toInt(),
                     1); // Image.Ready
        QVERIFY(!window.findVisible(u"previewUnavailable"_s));
        QCOMPARE(window.text(u"previewStatus"_s),
                 u"Сертификат создан. Для печати нажмите «Печать…» в предпросмотре"_s);

        const QString pdf = window.app().documents()->lastPdfPath();
        QVERIFY(pdf.startsWith(tachoria::storage::AppPaths::data() + u"/Сертификаты/Сертификат_"_s));
        const QString text = tachoria::test::pdfText(pdf).simplified();
        for (const QString& shown : {u"Заказ №: 1542"_s, u"Марка: КАМАЗ"_s, u"VIN: "_s + kVin,
                                     u"Мастер: Иванов Иван Иванович"_s, u"ООО «ДЕМО-ТРАНС»"_s})
            QVERIFY2(text.contains(shown), qPrintable(shown));
        const QList<QVariantMap> rows = tachoria::storage::CertificateRepository().allCertificates();
        QCOMPARE(rows.size(), 1);
        const QString checksum = rows.first().value(u"DocumentPath"_s).toString();
        tachoria::storage::CertificateXmlStorage xml;
        QVERIFY(xml.allChecksums().contains(checksum));
        QVERIFY(xml.verifyCertificateIntegrity(xml.folderPath() + QLatin1Char('/') +
                                               xml.allChecksums().value(checksum)));

        if (cups) {
            QVERIFY(window.click(u"previewPrintButton"_s));
            QTRY_VERIFY(window.dialogOpen(u"printSettingsDialog"_s));
            QCOMPARE(window.find(u"printPaper"_s)->property("displayText").toString(), u"A4"_s);
            QVERIFY(window.click(u"printSettingsPrintButton"_s));
            QTRY_VERIFY(!window.dialogOpen(u"printSettingsDialog"_s));
            QCOMPARE(window.text(u"previewStatus"_s), u"Документ отправлен на печать"_s);
            QTRY_COMPARE_WITH_TIMEOUT(cups->printedFiles(kQueue).size(), 1, 60000);
        }
        QVERIFY(window.click(u"previewCloseButton"_s));
        QTRY_VERIFY(!window.dialogOpen(u"documentPreview"_s));

        QVERIFY(window.click(u"stickerButton"_s));
        QTRY_VERIFY(window.dialogOpen(u"documentPreview"_s));
        QTRY_COMPARE(window.find(u"previewImage"_s)->property("status").toInt(), 1);
        QCOMPARE(window.window()->findChild<QObject*>(u"documentPreview"_s)->property("title").toString(),
                 u"Предпросмотр наклейки"_s);
        QVERIFY(window.click(u"previewCloseButton"_s));
        QCOMPARE(tachoria::storage::CertificateRepository().allCertificates().size(), 1);

        // The issued record shows its order and customer in the list.
        QVERIFY(window.click(u"tabRecords"_s));
        const QVariantMap row = window.app().documents()->records().constFirst().toMap();
        QCOMPARE(row.value(u"order"_s).toString(), u"1542"_s);
        QCOMPARE(row.value(u"customer"_s).toString(), u"ООО «ДЕМО-ТРАНС»"_s);

        // From a finished calibration straight to its documents: the page opens with the record chosen.
        QVERIFY(window.click(u"pageBackButton"_s));
        QTRY_COMPARE(window.window()->title(), u"Норвелика: Тахория"_s);
        window.app().documents()->requestDocumentsFor(id);
        QTRY_VERIFY(window.findVisible(u"documentsPage"_s));
        QTRY_COMPARE(window.app().documents()->selectedId(), id);
        QTRY_COMPARE(window.find(u"documentsTabs"_s)->property("currentIndex").toInt(), 1);
    }
};

QTEST_MAIN(TestWindowDocuments)
#include "test_window_documents.moc"
