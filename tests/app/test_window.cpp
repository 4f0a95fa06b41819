// The window as a master uses it, in this process and against the real simulator: the main menu
// follows the tachograph, the settings page keeps what is saved across a restart, the directories find
// Cyrillic names typed in lower case, and the journal viewer shows this run's records.
#include "../support/simulator_process.h"
#include "../support/window_driver.h"
#include "logging/application_logger.h"
#include "qml_controllers/qml_app_controller.h"
#include "storage/app_paths.h"
#include "storage/settings_repository.h"

#include <QFile>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>
#include <QUuid>

using tachoria::test::SimulatorProcess;
using tachoria::test::WindowDriver;

namespace {

void storePort(const QString& port)
{
    tachoria::storage::SettingsRepository settings;
    settings.setValue(QStringLiteral("Ports"), QStringLiteral("CalibrationPortName"), port);
}

int count(WindowDriver& window, const QString& list)
{
    QQuickItem* view = window.find(list);
    return view ? view->property("count").toInt() : -1;
}

} // namespace

class TestWindow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        tachoria::logging::ApplicationLogger::initialize(tachoria::storage::AppPaths::logDirectory(), true);
    }

    // Found on the configured port: the header shows it, the tiles follow it; it goes and comes back.
    void menuFollowsTheTachograph()
    {
        WindowDriver window;
        QTemporaryDir folder;
        const QString link = folder.filePath(QStringLiteral("tacho"));
        storePort(link);
        auto simulator = std::make_unique<SimulatorProcess>();
        simulator->setLink(link);
        QString error;
        QVERIFY2(simulator->start(&error), qPrintable(error));
        QVERIFY(window.start());
        QCOMPARE(window.window()->title(), QStringLiteral("Норвелика: Тахория"));
        QTRY_COMPARE_WITH_TIMEOUT(window.text(QStringLiteral("connectedTacho")),
                                  QStringLiteral("ОРВИАН № 2505001800001234"), 10000);
        QCOMPARE(window.text(QStringLiteral("skziStatus")), QStringLiteral("Активированный"));
        QCOMPARE(window.text(QStringLiteral("cardStatus")),
                 QStringLiteral("Левый слот. №: RUM0000012345600"));
        QCOMPARE(window.text(QStringLiteral("statusLine")),
                 QStringLiteral("Обнаружен тахограф на порту %1").arg(link));
        QCOMPARE(window.text(QStringLiteral("tachographVersion")), QStringLiteral("02050189"));
        QVERIFY(window.app().calibrationAvailable());
        QVERIFY(window.app().downloadAvailable());
        QVERIFY(window.find(QStringLiteral("settingsTile"))->isEnabled());

        QVERIFY(simulator->stop());
        QTRY_COMPARE_WITH_TIMEOUT(window.text(QStringLiteral("connectedTacho")),
                                  QStringLiteral("Не подключено"), 10000);
        QVERIFY(!window.app().calibrationAvailable());
        QVERIFY(!window.find(QStringLiteral("calibrationTile"))->isEnabled());

        simulator = std::make_unique<SimulatorProcess>();
        simulator->setLink(link);
        QVERIFY2(simulator->start(&error), qPrintable(error));
        QTRY_COMPARE_WITH_TIMEOUT(window.text(QStringLiteral("connectedTacho")),
                                  QStringLiteral("ОРВИАН № 2505001800001234"), 15000);

        // A double click on the logo asks before it scans anew.
        QVERIFY(window.doubleClick(QStringLiteral("logo")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("rescanDialog")));
        QCOMPARE(window.text(QStringLiteral("messageText")),
                 QStringLiteral("Вы уверены, что хотите запустить повторное сканирование COM-портов?"));
        QVERIFY(window.click(QStringLiteral("messageAcceptButton")));
        QTRY_COMPARE(window.text(QStringLiteral("connectedTacho")), QStringLiteral("Не подключено"));
        QTRY_COMPARE_WITH_TIMEOUT(window.text(QStringLiteral("connectedTacho")),
                                  QStringLiteral("ОРВИАН № 2505001800001234"), 10000);
    }

    // The shop's name and a port typed on the page, saved, and found again after a restart.
    void settingsSurviveARestart()
    {
        QTemporaryDir profile;
        {
            WindowDriver window(profile.path());
            QVERIFY(window.start(false));
            QVERIFY(window.click(QStringLiteral("settingsTile")));
            QTRY_VERIFY(window.findVisible(QStringLiteral("settingsPage")));
            QCOMPARE(window.window()->title(), QStringLiteral("Настройки программы"));
            QVERIFY(window.type(QStringLiteral("calibrationPortInput"), QStringLiteral("/dev/ttyUSB7")));
            QVERIFY(window.click(QStringLiteral("tabShop")));
            const std::pair<const char*, const char*> fields[] = {
                {"shopName", "ООО «Тахосервис»"}, {"shopPost", "443080"},           {"shopCity", "Самара"},
                {"shopStreet", "ул. Ленина, 1"},  {"shopPhone", "8 846 123-45-67"}, {"shopMark", "12345"}};
            for (const auto& [name, value] : fields)
                QVERIFY2(window.type(QString::fromLatin1(name), QString::fromUtf8(value)), name);
            // The form filters what it cannot take: a letter in the index never gets in.
            QVERIFY(window.type(QStringLiteral("shopPost"), QStringLiteral("44308А0")));
            QCOMPARE(window.text(QStringLiteral("shopPost")), QStringLiteral("443080"));
            QVERIFY(window.click(QStringLiteral("settingsSaveButton")));
            QTRY_VERIFY(window.dialogOpen(QStringLiteral("settingsMessage")));
            QCOMPARE(window.text(QStringLiteral("messageText")),
                     QStringLiteral("Данные мастерской и настройки успешно сохранены."));
        }
        WindowDriver window(profile.path());
        QVERIFY(window.start(false));
        QVERIFY(window.click(QStringLiteral("settingsTile")));
        QTRY_VERIFY(window.findVisible(QStringLiteral("settingsPage")));
        QCOMPARE(window.text(QStringLiteral("calibrationPortInput")), QStringLiteral("/dev/ttyUSB7"));
        QCOMPARE(window.text(QStringLiteral("shopName")), QStringLiteral("ООО «Тахосервис»"));
        QCOMPARE(window.text(QStringLiteral("shopMark")), QStringLiteral("12345"));
        QVERIFY(window.app().tachoriaStampConfigured());

        // A refused save names the fault and leaving asks what to do with the change.
        QVERIFY(window.click(QStringLiteral("tabShop")));
        QVERIFY(window.type(QStringLiteral("shopPhone"), QStringLiteral("+8 912 345 67 89")));
        QVERIFY(window.click(QStringLiteral("settingsSaveButton")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("settingsMessage")));
        QVERIFY(window.text(QStringLiteral("settingsErrorLine"))
                    .startsWith(QStringLiteral("Российский телефон")));
        QVERIFY(window.click(QStringLiteral("messageAcceptButton")));
        QVERIFY(window.click(QStringLiteral("pageBackButton")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("settingsLeaveDialog")));
        QVERIFY(window.click(QStringLiteral("messageRejectButton")));
        QTRY_COMPARE(window.window()->title(), QStringLiteral("Норвелика: Тахория"));
        QCOMPARE(window.app().settings()->tachoriaPhone(), QStringLiteral("8 846 123-45-67"));
    }

    void directoriesFindLowerCaseCyrillic()
    {
        WindowDriver window;
        QVERIFY(window.start(false));
        QVERIFY(window.click(QStringLiteral("settingsTile")));
        QTRY_VERIFY(window.findVisible(QStringLiteral("settingsPage")));
        QVERIFY(window.click(QStringLiteral("tabShop")));

        QVERIFY(window.click(QStringLiteral("mastersButton")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("masterDirectory")));
        for (const char* name : {"Пётр Сергеевич ЁЛКИН", "Анна Смирнова"}) {
            QVERIFY(window.type(QStringLiteral("masterName"), QString::fromUtf8(name)));
            QVERIFY(window.click(QStringLiteral("masterSaveButton")));
        }
        QTRY_COMPARE(count(window, QStringLiteral("masterList")), 2);
        QVERIFY(window.type(QStringLiteral("masterSearch"), QStringLiteral("елкин")));
        QTRY_COMPARE(count(window, QStringLiteral("masterList")), 1);
        QCOMPARE(
            window.app().settings()->masters().first().toMap().value(QStringLiteral("fullName")).toString(),
            QStringLiteral("Пётр Сергеевич ЁЛКИН"));
        QVERIFY(window.click(QStringLiteral("masterCloseButton")));

        QVERIFY(window.click(QStringLiteral("customersButton")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("customerDirectory")));
        QVERIFY(window.type(QStringLiteral("customerName"), QStringLiteral("ООО «ДЕМО-ТРАНС»")));
        QVERIFY(window.type(QStringLiteral("customerAddress"), QStringLiteral("Самара, ул. Примерная, 1")));
        QVERIFY(window.type(QStringLiteral("customerPhone"), QStringLiteral("+7 (846) 000-00-01")));
        QVERIFY(window.click(QStringLiteral("customerSaveButton")));
        QVERIFY(window.type(QStringLiteral("customerName"), QStringLiteral("ИП Сидоров")));
        QVERIFY(window.click(QStringLiteral("customerSaveButton")));
        QTRY_COMPARE(count(window, QStringLiteral("customerList")), 2);
        QVERIFY(window.type(QStringLiteral("customerSearch"), QStringLiteral("ооо «демо")));
        QTRY_COMPARE(count(window, QStringLiteral("customerList")), 1);
        QCOMPARE(
            window.app().settings()->customers().first().toMap().value(QStringLiteral("phone")).toString(),
            QStringLiteral("+7 (846) 000-00-01"));
    }

    void journalViewerShowsThisRun()
    {
        WindowDriver window;
        QVERIFY(window.start(false));
        const QString marker =
            QStringLiteral("проверка-") + QUuid::createUuid().toString(QUuid::WithoutBraces);
        window.app().writeDiagnosticLog(marker);
        QVERIFY(window.click(QStringLiteral("settingsTile")));
        QTRY_VERIFY(window.findVisible(QStringLiteral("settingsPage")));
        QVERIFY(window.click(QStringLiteral("tabProgram")));
        QVERIFY(window.click(QStringLiteral("logViewerButton")));
        QTRY_VERIFY(window.findVisible(QStringLiteral("logFile_Tachoria.log")));
        QVERIFY(window.click(QStringLiteral("logFile_Tachoria.log")));
        QTRY_VERIFY(count(window, QStringLiteral("logEntryList")) > 0);
        QVERIFY(window.type(QStringLiteral("logSearch"), marker));
        QTRY_COMPARE(count(window, QStringLiteral("logEntryList")), 1);
        QVERIFY(window.click(QStringLiteral("logFilter_bluetooth")));
        QCOMPARE(count(window, QStringLiteral("logEntryList")), 0); // its category is qml.bluetooth_selection
        QVERIFY(window.click(QStringLiteral("logFilter_other")));
        QCOMPARE(count(window, QStringLiteral("logEntryList")), 1);
        QVERIFY(window.click(QStringLiteral("logBackToFiles")));
        QTRY_VERIFY(window.findVisible(QStringLiteral("logFileList")));
    }

    // F1 anywhere: the manual is copied out of the program into the data folder and handed to a viewer.
    void userGuide()
    {
        WindowDriver window;
        QVERIFY(window.start(false));
        QTest::keyClick(window.window(), Qt::Key_F1);
        QFile manual(tachoria::storage::AppPaths::data() +
                     QStringLiteral("/Help/Tachoria_User_Manual_Windows.pdf"));
        QTRY_VERIFY(manual.exists());
        QVERIFY(manual.open(QIODevice::ReadOnly));
        QVERIFY(manual.read(5) == "%PDF-");
        QVERIFY(manual.size() > 10000);
        // Whether a viewer opens it depends on the machine; either way the status line says which.
        const QStringList outcomes{
            QStringLiteral("Открыта инструкция по работе с программой"),
            QStringLiteral("Не удалось открыть PDF. Проверьте наличие просмотрщика PDF.")};
        QVERIFY2(outcomes.contains(window.app().statusMessage()), qPrintable(window.app().statusMessage()));
    }

    // The theme chosen on the page repaints the window at once.
    void themeAppliesAtOnce()
    {
        WindowDriver window;
        QVERIFY(window.start(false));
        QCOMPARE(window.window()->color(), QColor(QStringLiteral("#f3f3f3")));
        QVERIFY(window.click(QStringLiteral("settingsTile")));
        QTRY_VERIFY(window.findVisible(QStringLiteral("settingsPage")));
        QVERIFY(window.click(QStringLiteral("tabLook")));
        QVERIFY(window.click(QStringLiteral("themeBox")));
        QTest::keyClick(window.window(), Qt::Key_Down);
        QTest::keyClick(window.window(), Qt::Key_Return);
        QTRY_COMPARE(window.app().settings()->theme(), QStringLiteral("Dark"));
        QCOMPARE(window.window()->color(), QColor(QStringLiteral("#20252b")));
        window.app().settings()->setTheme(QStringLiteral("Light")); // never stored: the page was not saved
    }
};

QTEST_MAIN(TestWindow)
#include "test_window.moc"
