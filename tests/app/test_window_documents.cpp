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

using tachoria::test::WindowDriver;

namespace {

const QString kVin = QStringLiteral("XTC549015N2570001");
const QString kQueue = QStringLiteral("TachoriaOffice");

int count(WindowDriver& window, const QString& list)
{
    QQuickItem* view = window.find(list);
    return view ? view->property("count").toInt() : -1;
}

// The shop's data, a master and a customer, and no port scanning: the documents need no tachograph.
void prepareProfile()
{
    tachoria::storage::SettingsRepository settings;
    settings.setValue(QStringLiteral("Program"), QStringLiteral("ScanPorts"), 0, QStringLiteral("Bool"));
    tachoria::test::storeShop();
    tachoria::storage::MasterRepository().addMaster(QStringLiteral("Иванов Иван Иванович"));
    tachoria::storage::CustomerRepository().addCustomer(QStringLiteral("ООО «ДЕМО-ТРАНС»"),
                                                        QStringLiteral("Самара, ул. Примерная, 1"),
                                                        QStringLiteral("+7 (846) 000-00-01"));
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
        const int id = tachoria::test::writeCalibration(kVin, QStringLiteral("А123ВС163"), &error);
        QVERIFY2(id > 0, qPrintable(error));
        std::unique_ptr<tachoria::test::CupsStandIn> cups;
        if (tachoria::test::CupsStandIn::unavailableReason().isEmpty()) {
            cups = std::make_unique<tachoria::test::CupsStandIn>();
            QVERIFY2(cups->start(&error) && cups->addPdfPrinter(kQueue, &error) &&
                         cups->setDefaultPrinter(kQueue),
                     qPrintable(error));
        }
        QVERIFY(window.start());

        QTRY_VERIFY(window.find(QStringLiteral("documentsTile"))->isEnabled());
        QVERIFY(window.click(QStringLiteral("documentsTile")));
        QTRY_VERIFY(window.findVisible(QStringLiteral("documentsPage")));
        QCOMPARE(window.window()->title(), QStringLiteral("Документы"));
        QTRY_COMPARE(count(window, QStringLiteral("recordList")), 1);
        QVERIFY(!window.find(QStringLiteral("tabDocuments"))->isEnabled());
        QVERIFY(window.click(QStringLiteral("record_%1").arg(id)));
        QTRY_COMPARE(window.text(QStringLiteral("documentsStatus")), QStringLiteral("Запись выбрана"));
        QVERIFY(window.click(QStringLiteral("tabDocuments")));
        // A record without master and customer takes the first of each directory.
        QTRY_COMPARE(window.find(QStringLiteral("docMaster"))->property("displayText").toString(),
                     QStringLiteral("Иванов Иван Иванович"));
        QCOMPARE(window.text(QStringLiteral("docCustomerPhone")), QStringLiteral("+7 (846) 000-00-01"));
        QCOMPARE(window.text(QStringLiteral("docVin")), kVin);
        QVERIFY(window.type(QStringLiteral("docOrderNumber"), QStringLiteral("1542")));
        QVERIFY(window.type(QStringLiteral("docVehicleMark"), QStringLiteral("КАМАЗ")));
        // The field's limit holds what is typed: a VIN has 17 characters.
        QVERIFY(window.type(QStringLiteral("docVin"), kVin + QStringLiteral("99")));
        QCOMPARE(window.text(QStringLiteral("docVin")), kVin);

        QVERIFY(window.click(QStringLiteral("certificateButton")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("documentPreview")));
        QTRY_COMPARE(window.find(QStringLiteral("previewImage"))->property("status").toInt(),
                     1); // Image.Ready
        QVERIFY(!window.findVisible(QStringLiteral("previewUnavailable")));
        QCOMPARE(window.text(QStringLiteral("previewStatus")),
                 QStringLiteral("Сертификат создан. Для печати нажмите «Печать…» в предпросмотре"));

        const QString pdf = window.app().documents()->lastPdfPath();
        QVERIFY(
            pdf.startsWith(tachoria::storage::AppPaths::data() + QStringLiteral("/Сертификаты/Сертификат_")));
        const QString text = tachoria::test::pdfText(pdf).simplified();
        for (const QString& shown :
             {QStringLiteral("Заказ №: 1542"), QStringLiteral("Марка: КАМАЗ"), QStringLiteral("VIN: ") + kVin,
              QStringLiteral("Мастер: Иванов Иван Иванович"), QStringLiteral("ООО «ДЕМО-ТРАНС»")})
            QVERIFY2(text.contains(shown), qPrintable(shown));
        const QList<QVariantMap> rows = tachoria::storage::CertificateRepository().allCertificates();
        QCOMPARE(rows.size(), 1);
        const QString checksum = rows.first().value(QStringLiteral("DocumentPath")).toString();
        tachoria::storage::CertificateXmlStorage xml;
        QVERIFY(xml.allChecksums().contains(checksum));
        QVERIFY(xml.verifyCertificateIntegrity(xml.folderPath() + QLatin1Char('/') +
                                               xml.allChecksums().value(checksum)));

        if (cups) {
            QVERIFY(window.click(QStringLiteral("previewPrintButton")));
            QTRY_VERIFY(window.dialogOpen(QStringLiteral("printSettingsDialog")));
            QCOMPARE(window.find(QStringLiteral("printPaper"))->property("displayText").toString(),
                     QStringLiteral("A4"));
            QVERIFY(window.click(QStringLiteral("printSettingsPrintButton")));
            QTRY_VERIFY(!window.dialogOpen(QStringLiteral("printSettingsDialog")));
            QCOMPARE(window.text(QStringLiteral("previewStatus")),
                     QStringLiteral("Документ отправлен на печать"));
            QTRY_COMPARE_WITH_TIMEOUT(cups->printedFiles(kQueue).size(), 1, 60000);
        }
        QVERIFY(window.click(QStringLiteral("previewCloseButton")));
        QTRY_VERIFY(!window.dialogOpen(QStringLiteral("documentPreview")));

        QVERIFY(window.click(QStringLiteral("stickerButton")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("documentPreview")));
        QTRY_COMPARE(window.find(QStringLiteral("previewImage"))->property("status").toInt(), 1);
        QCOMPARE(window.window()
                     ->findChild<QObject*>(QStringLiteral("documentPreview"))
                     ->property("title")
                     .toString(),
                 QStringLiteral("Предпросмотр наклейки"));
        QVERIFY(window.click(QStringLiteral("previewCloseButton")));
        QCOMPARE(tachoria::storage::CertificateRepository().allCertificates().size(), 1);

        // The issued record shows its order and customer in the list.
        QVERIFY(window.click(QStringLiteral("tabRecords")));
        const QVariantMap row = window.app().documents()->records().constFirst().toMap();
        QCOMPARE(row.value(QStringLiteral("order")).toString(), QStringLiteral("1542"));
        QCOMPARE(row.value(QStringLiteral("customer")).toString(), QStringLiteral("ООО «ДЕМО-ТРАНС»"));

        // From a finished calibration straight to its documents: the page opens with the record chosen.
        QVERIFY(window.click(QStringLiteral("pageBackButton")));
        QTRY_COMPARE(window.window()->title(), QStringLiteral("Норвелика: Тахория"));
        window.app().documents()->requestDocumentsFor(id);
        QTRY_VERIFY(window.findVisible(QStringLiteral("documentsPage")));
        QTRY_COMPARE(window.app().documents()->selectedId(), id);
        QTRY_COMPARE(window.find(QStringLiteral("documentsTabs"))->property("currentIndex").toInt(), 1);
    }
};

QTEST_MAIN(TestWindowDocuments)
#include "test_window_documents.moc"
