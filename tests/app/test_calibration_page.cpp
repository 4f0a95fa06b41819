// The calibration page as a master uses it, in this process against the simulated tachograph: the
// menu lets him in only with a unit that permits it, the page reads the unit, the form is edited and
// written, the measurements show their results, and saved configurations come back into the form.
#include "../support/window_on_simulator.h"
#include "logging/application_logger.h"
#include "qml_controllers/qml_app_controller.h"
#include "storage/app_paths.h"
#include "storage/calibration_repository.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>

using tachoria::qml::QmlCalibrationController;
using tachoria::test::SimulatorProcess;
using tachoria::test::WindowDriver;
using tachoria::test::words;

namespace {

// The simulator with its state file and its log of requests, and the window that found it.
struct Bench : tachoria::test::WindowOnSimulator
{
    explicit Bench(const QStringList& simulatorArguments)
        : WindowOnSimulator(simulatorArguments + words({"--verbose"}), true)
    {
    }
    bool start()
    {
        QString error;
        const bool started = WindowOnSimulator::start(&error);
        if (!started)
            qWarning("%s", qPrintable(error));
        return started;
    }
    QmlCalibrationController& controller() { return *window.app().calibration(); }
    // With the shop's mark set, opens the page from its tile and waits for the read to fill the form.
    bool openAndRead()
    {
        window.app().settings()->setTachoriaMark(QStringLiteral("12345"));
        return window.click(QStringLiteral("calibrationTile")) &&
               QTest::qWaitFor([this] { return window.findVisible(QStringLiteral("calibrationPage")); },
                               5000) &&
               QTest::qWaitFor([this] { return controller().readCompleted(); }, 20000);
    }
    QList<QByteArray> requests() { return simulator.receivedRequests(); }
};

QJsonObject state(const SimulatorProcess& simulator)
{
    QFile file(simulator.statePath());
    return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object() : QJsonObject();
}

QString latin(const QJsonObject& state, const char* did)
{
    return QString::fromLatin1(QByteArray::fromHex(
        state.value(u"values").toObject().value(QLatin1String(did)).toString().toLatin1()));
}

int count(const QList<QByteArray>& requests, char sid)
{
    return static_cast<int>(
        std::count_if(requests.cbegin(), requests.cend(),
                      [sid](const QByteArray& request) { return request.startsWith(sid); }));
}

QVariantMap latestCalibration()
{
    const QList<QVariantMap> rows = tachoria::storage::CalibrationRepository().allCalibrations();
    return rows.isEmpty() ? QVariantMap() : rows.first();
}

} // namespace

class TestCalibrationPage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        tachoria::logging::ApplicationLogger::initialize(tachoria::storage::AppPaths::logDirectory(), true);
    }

    // The tiles follow what the unit permits; without the shop's mark the page does not open at all.
    void tiles_data()
    {
        QTest::addColumn<QStringList>("simulator");
        QTest::addColumn<bool>("permitted");
        QTest::newRow("master card in the slot") << QStringList() << true;
        QTest::newRow("active module, no master card") << words({"--card", "none"}) << false;
    }

    void tiles()
    {
        QFETCH(QStringList, simulator);
        QFETCH(bool, permitted);
        Bench bench(simulator);
        QVERIFY(bench.start());
        QCOMPARE(bench.window.find(QStringLiteral("calibrationTile"))->isEnabled(), permitted);
        QCOMPARE(bench.window.find(QStringLiteral("downloadTile"))->isEnabled(), permitted);
        if (!permitted)
            return;
        QVERIFY(bench.window.click(QStringLiteral("calibrationTile")));
        QTRY_VERIFY(bench.window.dialogOpen(QStringLiteral("tachoriaStampDialog")));
        QVERIFY(!bench.window.find(QStringLiteral("calibrationPage")));
        QVERIFY(!bench.window.app().monitoringPaused());
    }

    // Opening reads the unit into the form while the watch keeps off the port; a wrong entry is
    // marked with its reason and stops the write; the corrected form goes to the unit in the order
    // of the catalogue under the programming session, and the journal keeps the row.
    void readEditAndWrite()
    {
        Bench bench(words({"--refuse", "F103"}));
        QVERIFY(bench.start());
        QVERIFY(bench.openAndRead());
        QVERIFY(bench.window.app().monitoringPaused());
        WindowDriver& window = bench.window;
        QCOMPARE(window.text(QStringLiteral("field_vehicleIdentificationNumber")),
                 QStringLiteral("XTA210990Y1234567"));
        QCOMPARE(window.text(QStringLiteral("field_VehicleRegistrationNumber")), QStringLiteral("A123BC77"));
        QCOMPARE(window.text(QStringLiteral("field_vuSerialNumber")), QStringLiteral("2505001800001234"));
        QCOMPARE(window.text(QStringLiteral("field_tyreSize")),
                 QStringLiteral("315/80R22.5    ")); // the unit pads it
        QVERIFY(window.click(QStringLiteral("calibrationTabOther")));
        QVERIFY(!window.findVisible(QStringLiteral("illuminationColor"))->isEnabled()); // the unit lacks it
        QVERIFY(window.findVisible(QStringLiteral("brightnessSource"))->isEnabled());
        QVERIFY(window.click(QStringLiteral("calibrationTabTacho")));

        // The session stays up on its own; no scan reaches the port meanwhile.
        const int scansBefore = count(bench.requests(), 0x16);
        const int keptAlive = count(bench.requests(), 0x3E);
        QTRY_VERIFY_WITH_TIMEOUT(count(bench.requests(), 0x3E) >= keptAlive + 2, 10000);
        QCOMPARE(count(bench.requests(), 0x16), scansBefore);

        QVERIFY(window.type(QStringLiteral("field_tyreSize"), QStringLiteral("230/65 r15")));
        QVERIFY(window.click(QStringLiteral("action_lTyreCircumference")));
        QTRY_COMPARE(window.text(QStringLiteral("field_lTyreCircumference")), QStringLiteral("2136"));
        QCOMPARE(window.text(QStringLiteral("field_tyreSize")), QStringLiteral("230/65 R15"));

        // The unit takes only Latin letters in the number: Cyrillic look-alikes never get into the field.
        QVERIFY(window.type(QStringLiteral("field_VehicleRegistrationNumber"), QStringLiteral("К777ОР63")));
        QCOMPARE(window.text(QStringLiteral("field_VehicleRegistrationNumber")), QStringLiteral("77763"));
        QVERIFY(window.type(QStringLiteral("field_VehicleRegistrationNumber"), QStringLiteral("k777op63")));

        // A letter O in the VIN: kept as typed, marked, named, and nothing goes to the unit.
        QVERIFY(window.type(QStringLiteral("field_vehicleIdentificationNumber"),
                            QStringLiteral("WVWZZZ1JZXWOOOOO1")));
        QVERIFY(window.click(QStringLiteral("field_SpeedAuthorised")));
        QCOMPARE(window.text(QStringLiteral("field_VehicleRegistrationNumber")), QStringLiteral("K777OP63"));
        const int requestsBefore = bench.requests().size();
        QVERIFY(window.click(QStringLiteral("calibrationWriteButton")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("validationDialog")));
        QCOMPARE(
            window.text(QStringLiteral("messageText")),
            QStringLiteral("Запись не начата. Исправьте отмеченные красным параметры:\nVIN: VIN содержит "
                           "недопустимые символы: разрешены цифры и заглавные A-Z, кроме I, O, Q; пример "
                           "WVWZZZ1JZXW000001"));
        QVERIFY(window.click(QStringLiteral("messageAcceptButton")));
        QCOMPARE(window.text(QStringLiteral("field_vehicleIdentificationNumber")),
                 QStringLiteral("WVWZZZ1JZXWOOOOO1"));
        QVERIFY(window.findVisible(QStringLiteral("error_vehicleIdentificationNumber")));
        QVERIFY(
            window.find(QStringLiteral("field_vehicleIdentificationNumber"))->property("invalid").toBool());
        QCOMPARE(count(bench.requests().mid(requestsBefore), 0x2E), 0);

        QVERIFY(window.type(QStringLiteral("field_vehicleIdentificationNumber"),
                            QStringLiteral("WVWZZZ1JZXW000001")));
        QVERIFY(window.click(QStringLiteral("field_SpeedAuthorised")));
        QTRY_VERIFY(!window.findVisible(QStringLiteral("error_vehicleIdentificationNumber")));
        const int writeStart = bench.requests().size();
        QVERIFY(window.click(QStringLiteral("calibrationWriteButton")));
        QTRY_VERIFY_WITH_TIMEOUT(window.dialogOpen(QStringLiteral("writeDoneDialog")), 20000);
        QCOMPARE(window.text(QStringLiteral("messageText")),
                 QStringLiteral("Настройки тахографа успешно записаны."));
        QCOMPARE(window.text(QStringLiteral("calibrationStatus")), QStringLiteral("Запись завершена"));

        const QJsonObject written = state(bench.simulator);
        QCOMPARE(latin(written, "F190"), QStringLiteral("WVWZZZ1JZXW000001"));
        QCOMPARE(latin(written, "F97E"), QStringLiteral("\x05K777OP63     "));
        QCOMPARE(latin(written, "F921"), QStringLiteral("230/65 R15     "));
        QStringList order;
        for (const QJsonValue& did : written.value(u"writes").toArray())
            order << did.toString();
        QCOMPARE(order, words({"F90B", "F19A", "F190", "F97D", "F97E", "F918", "F91D", "F91C", "F921", "F92C",
                               "F922", "F912", "F91E", "FD01", "FD02", "FD08", "FD09", "FD0C", "F920", "FD14",
                               "F90F", "FD13", "FD05", "FD06", "FD07", "FD0B", "FD0F", "FD10", "FD11"}));
        // The programming session and its security access come before the first write.
        QList<QByteArray> writing = bench.requests().mid(writeStart);
        while (!writing.isEmpty() && !writing.first().startsWith('\x10'))
            writing.removeFirst();
        QVERIFY(writing.size() > 2);
        QCOMPARE(writing.at(0).toHex(), QByteArray("1085"));
        QCOMPARE(writing.at(1).toHex(), QByteArray("277d"));
        QVERIFY(writing.at(2).startsWith('\x2E'));

        const QVariantMap row = latestCalibration();
        QCOMPARE(row.value(QStringLiteral("WriteResult")).toInt(), 1);
        QCOMPARE(row.value(QStringLiteral("WriteError")).toString(), QStringLiteral("Успешно"));
        QCOMPARE(row.value(QStringLiteral("VuSerialNumber")).toString(), QStringLiteral("2505001800001234"));
        QCOMPARE(row.value(QStringLiteral("VehicleIdentificationNumber")).toString(),
                 QStringLiteral("WVWZZZ1JZXW000001"));
        QCOMPARE(row.value(QStringLiteral("VehicleRegistrationNumber")).toString(),
                 QStringLiteral("K777OP63"));
        QCOMPARE(row.value(QStringLiteral("LTyreCircumference")).toInt(), 2136);
        QCOMPARE(row.value(QStringLiteral("TachoriaCodeFBU")).toInt(), 12345);

        // Straight to the documents of this calibration; leaving gives the port back to the watch.
        QVERIFY(window.click(QStringLiteral("messageAcceptButton")));
        QCOMPARE(bench.controller().writtenRecordId(), row.value(QStringLiteral("Id")).toInt());
        QVERIFY(window.click(QStringLiteral("calibrationDocumentsButton")));
        QTRY_VERIFY(!window.app().monitoringPaused());
        QTRY_VERIFY(!window.find(QStringLiteral("calibrationPage")));
        QTRY_VERIFY(window.findVisible(QStringLiteral("documentsPage")));
        QTRY_COMPARE(window.app().documents()->selectedId(), row.value(QStringLiteral("Id")).toInt());
        QVERIFY(!window.sawQmlWarnings());
    }

    // The unit refuses one identifier in the middle: its words reach the master, what went before stays
    // written, and the journal's row records the failure.
    void refusalInTheMiddle()
    {
        Bench bench(words({"--refuse-write", "F921"}));
        QVERIFY(bench.start());
        QVERIFY(bench.openAndRead());
        QVERIFY(bench.window.click(QStringLiteral("calibrationWriteButton")));
        QTRY_VERIFY_WITH_TIMEOUT(bench.window.dialogOpen(QStringLiteral("calibrationErrorDialog")), 20000);
        const QString failure = QStringLiteral(
            "Ошибка записи параметра tyreSize: TACHOGRAPH NEGATIVE RESPONSE: SID=0X2E NRC=0X22");
        QCOMPARE(bench.window.text(QStringLiteral("messageText")), failure);
        QCOMPARE(bench.controller().lastError(), failure);
        QVERIFY(!bench.controller().readCompleted());
        QCOMPARE(state(bench.simulator).value(u"writes").toArray().last().toString(), QStringLiteral("F91C"));
        const QVariantMap row = latestCalibration();
        QCOMPARE(row.value(QStringLiteral("WriteResult")).toInt(), 0);
        QCOMPARE(row.value(QStringLiteral("WriteError")).toString(), failure);
        QCOMPARE(row.value(QStringLiteral("LTyreCircumference")).toInt(), 3200); // written before the refusal
        QVERIFY(row.value(QStringLiteral("TyreSize")).isNull());
        // The form must read again before another write.
        QVERIFY(bench.window.click(QStringLiteral("messageAcceptButton")));
        QVERIFY(!bench.window.find(QStringLiteral("calibrationWriteButton"))->isEnabled());
        QVERIFY(bench.window.find(QStringLiteral("calibrationReadButton"))->isEnabled());
    }

    // The pulse count, the speed-source search (also cancelled) and a saved configuration taken back
    // into the form.
    void measurementsAndConfigurations()
    {
        Bench bench(words({"--pulse-count", "4000"}));
        QVERIFY(bench.start());
        QVERIFY(bench.openAndRead());
        WindowDriver& window = bench.window;

        QVERIFY(window.click(QStringLiteral("action_kConstantOfRecordingEquipment")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("kMeasurementDialog")));
        QTRY_VERIFY(window.find(QStringLiteral("impulseStartButton"))->isEnabled());
        QVERIFY(window.click(QStringLiteral("impulseStartButton")));
        QTRY_VERIFY(window.find(QStringLiteral("impulseStopButton"))->isEnabled());
        QVERIFY(window.click(QStringLiteral("impulseStopButton")));
        QTRY_COMPARE(window.text(QStringLiteral("impulseCount")), QStringLiteral("4000"));
        QVERIFY(window.type(QStringLiteral("distanceInput"), QStringLiteral("500")));
        QCOMPARE(window.text(QStringLiteral("kResult")), QStringLiteral("8000"));
        QVERIFY(window.type(QStringLiteral("distanceInput"), QStringLiteral("2000")));
        QVERIFY(window.click(QStringLiteral("kSaveButton")));
        QCOMPARE(window.text(QStringLiteral("kStatus")), QStringLiteral("Недопустимый Кф!!!"));
        QVERIFY(window.type(QStringLiteral("distanceInput"), QStringLiteral("625")));
        QVERIFY(window.click(QStringLiteral("kSaveButton")));
        QTRY_VERIFY(!window.dialogOpen(QStringLiteral("kMeasurementDialog")));
        QCOMPARE(window.text(QStringLiteral("field_kConstantOfRecordingEquipment")), QStringLiteral("6400"));
        QCOMPARE(window.text(QStringLiteral("field_wVehicleCharacteristicConstant")), QStringLiteral("6400"));

        QVERIFY(window.click(QStringLiteral("calibrationTabOther")));
        QVERIFY(window.click(QStringLiteral("speedSourceAuto")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("speedSourceDialog")));
        QVERIFY(window.click(QStringLiteral("sourceSearchButton")));
        QTRY_COMPARE_WITH_TIMEOUT(window.text(QStringLiteral("sourceStatus")),
                                  QStringLiteral("Источники скорости определены"), 20000);
        QCOMPARE(window.text(QStringLiteral("sourceRow2")), QStringLiteral("CAN CCVS (29 бит) (доступен)"));
        QCOMPARE(window.text(QStringLiteral("sourceRow4")), QStringLiteral("OBD2 (не найден)"));
        QVERIFY(window.click(QStringLiteral("sourceRow2")));
        QVERIFY(window.click(QStringLiteral("sourceChooseButton")));
        QTRY_VERIFY(!window.dialogOpen(QStringLiteral("speedSourceDialog")));
        QCOMPARE(bench.controller().parameterValue(QStringLiteral("SourceSpeed")), QStringLiteral("4;0"));
        QCOMPARE(window.find(QStringLiteral("speedSource"))->property("displayText").toString(),
                 QStringLiteral("CAN CCVS (29 бит)"));

        QVERIFY(window.click(QStringLiteral("speedSourceAuto")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("speedSourceDialog")));
        QVERIFY(window.click(QStringLiteral("sourceSearchButton")));
        QTRY_VERIFY(bench.controller().busy());
        QVERIFY(window.click(QStringLiteral("sourceCloseButton")));
        QTRY_VERIFY_WITH_TIMEOUT(!bench.controller().busy(), 5000);
        QCOMPARE(bench.controller().statusText(), QStringLiteral("Поиск источников скорости отменён"));
        QVERIFY(bench.controller().lastError().isEmpty());

        // Saved from the form, then saved again under the same names in other letters: one row.
        QVERIFY(window.click(QStringLiteral("saveConfigurationButton")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("vehicleConfigurationDialog")));
        QVERIFY(window.type(QStringLiteral("configurationMake"), QStringLiteral("Volvo")));
        QVERIFY(window.type(QStringLiteral("configurationModel"), QStringLiteral("FH16")));
        QVERIFY(window.click(QStringLiteral("configurationSaveButton")));
        QTRY_VERIFY(!window.dialogOpen(QStringLiteral("vehicleConfigurationDialog")));
        QVERIFY(bench.controller().setParameterValue(QStringLiteral("kConstantOfRecordingEquipment"),
                                                     QStringLiteral("5000")));
        QVERIFY(window.click(QStringLiteral("saveConfigurationButton")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("vehicleConfigurationDialog")));
        QVERIFY(window.type(QStringLiteral("configurationMake"), QStringLiteral("VOLVO")));
        QVERIFY(window.type(QStringLiteral("configurationModel"), QStringLiteral("fh16")));
        QTRY_VERIFY(window.findVisible(QStringLiteral("configurationExistsWarning")));
        QVERIFY(window.click(QStringLiteral("configurationSaveButton")));
        QTRY_VERIFY(!window.dialogOpen(QStringLiteral("vehicleConfigurationDialog")));
        const QVariantList saved = bench.controller().vehicleConfigurations();
        QCOMPARE(saved.size(), 1);
        QCOMPARE(saved.first().toMap().value(QStringLiteral("manufacturer")).toString(),
                 QStringLiteral("Volvo"));

        // Taken back into the form from the editor, after a look at what it changes.
        QVERIFY(bench.controller().setParameterValue(QStringLiteral("kConstantOfRecordingEquipment"),
                                                     QStringLiteral("7000")));
        QVERIFY(window.click(QStringLiteral("configurationEditorButton")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("vehicleConfigurationDialog")));
        QVERIFY(window.click(QStringLiteral("configurationUse_0")));
        QTRY_VERIFY(window.findVisible(QStringLiteral("configurationApplyButton")));
        QVERIFY(window.click(QStringLiteral("configurationApplyButton")));
        QTRY_VERIFY(!window.dialogOpen(QStringLiteral("vehicleConfigurationDialog")));
        QCOMPARE(window.text(QStringLiteral("field_kConstantOfRecordingEquipment")), QStringLiteral("5000"));
        QCOMPARE(window.text(QStringLiteral("field_wVehicleCharacteristicConstant")), QStringLiteral("5000"));

        // Written without the registration number, on the master's word.
        QVERIFY(window.click(QStringLiteral("calibrationTabTacho")));
        QVERIFY(window.click(QStringLiteral("registrationAbsentCheck")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("registrationConfirmDialog")));
        QVERIFY(window.click(QStringLiteral("messageAcceptButton")));
        QVERIFY(!window.find(QStringLiteral("field_VehicleRegistrationNumber"))->isEnabled());
        QVERIFY(window.click(QStringLiteral("calibrationWriteButton")));
        QTRY_VERIFY_WITH_TIMEOUT(window.dialogOpen(QStringLiteral("writeDoneDialog")), 20000);
        QCOMPARE(window.text(QStringLiteral("messageText")),
                 QStringLiteral("Настройки тахографа успешно записаны. Рег. номер не изменялся."));
        QStringList written;
        for (const QJsonValue& did : state(bench.simulator).value(u"writes").toArray())
            written << did.toString();
        QVERIFY(written.contains(QStringLiteral("F918")));
        QVERIFY(!written.contains(QStringLiteral("F97E")));
        QVERIFY(!window.sawQmlWarnings());
    }

    // Leaving while the unit is read stops the read and gives the port back.
    void leavingDuringARead()
    {
        Bench bench(words({"--delay", "150"}));
        QVERIFY(bench.start());
        bench.window.app().settings()->setTachoriaMark(QStringLiteral("12345"));
        QVERIFY(bench.window.click(QStringLiteral("calibrationTile")));
        QTRY_VERIFY(bench.controller().busy());
        QTRY_VERIFY(bench.controller().statusText().startsWith(QStringLiteral("Вычитывается DID")));
        QVERIFY(bench.window.click(QStringLiteral("pageBackButton")));
        QTRY_VERIFY(!bench.window.find(QStringLiteral("calibrationPage")));
        QVERIFY(!bench.controller().busy());
        QVERIFY(!bench.controller().readCompleted());
        QCOMPARE(bench.controller().statusText(), QStringLiteral("Связь закрыта"));
        QTRY_VERIFY(!bench.window.app().monitoringPaused());
    }

    // The unit stops answering while the form is open: the kept-alive session notices and says so.
    void unitGoesAway()
    {
        Bench bench({});
        QVERIFY(bench.start());
        QVERIFY(bench.openAndRead());
        QVERIFY(bench.simulator.stop());
        QTRY_VERIFY_WITH_TIMEOUT(bench.window.dialogOpen(QStringLiteral("calibrationErrorDialog")), 15000);
        QCOMPARE(bench.window.text(QStringLiteral("messageText")),
                 QStringLiteral("Не удалось подтвердить связь с тахографом. Проверьте, что он включён и "
                                "соединение активно, затем подключитесь повторно."));
    }

    // CAN detection: found and taken into the form, not found, refused.
    void canDetection_data()
    {
        QTest::addColumn<QStringList>("simulator");
        QTest::addColumn<QString>("shown");
        QTest::newRow("found") << words({"--can-speed", "3"})
                               << QStringLiteral("Определено: 1000 кбит/с, 11 бит.");
        QTest::newRow("not found") << words({"--can-result", "not-found"})
                                   << QStringLiteral(
                                          "Не удалось определить скорость CAN: выбранная шина может быть "
                                          "не подключена или на ней нет обмена данными. Проверьте "
                                          "подключение CAN и убедитесь, что блоки автомобиля передают "
                                          "сообщения по этой шине, затем повторите поиск.");
        QTest::newRow("refused") << words({"--can-result", "refused"})
                                 << QStringLiteral(
                                        "Тахограф не разрешил запустить автоопределение CAN. Возможно, "
                                        "эта функция не поддерживается моделью или недоступна в текущем "
                                        "режиме.");
    }

    void canDetection()
    {
        QFETCH(QStringList, simulator);
        QFETCH(QString, shown);
        Bench bench(simulator);
        QVERIFY(bench.start());
        QVERIFY(bench.openAndRead());
        WindowDriver& window = bench.window;
        QVERIFY(window.click(QStringLiteral("calibrationTabCan")));
        QVERIFY(window.click(QStringLiteral("can2Auto")));
        QTRY_VERIFY(window.dialogOpen(QStringLiteral("canSpeedDialog")));
        QVERIFY(window.click(QStringLiteral("canSearchButton")));
        QTRY_VERIFY_WITH_TIMEOUT(window.text(QStringLiteral("canSpeedStatus")) == shown, 15000);
        const bool found = bench.controller().canDetectionAvailable();
        QCOMPARE(window.find(QStringLiteral("canChooseButton"))->isEnabled(), found);
        if (!found)
            return;
        QCOMPARE(window.text(QStringLiteral("canResult")), QStringLiteral("CAN2: F3"));
        QVERIFY(window.click(QStringLiteral("canChooseButton")));
        QTRY_VERIFY(!window.dialogOpen(QStringLiteral("canSpeedDialog")));
        QCOMPARE(window.find(QStringLiteral("can2Speed"))->property("displayText").toString(),
                 QStringLiteral("1000 кбит/с"));
        QCOMPARE(bench.controller().parameterValue(QStringLiteral("CAN2")), QStringLiteral("0;3;0"));
    }
};

QTEST_MAIN(TestCalibrationPage)
#include "test_calibration_page.moc"
