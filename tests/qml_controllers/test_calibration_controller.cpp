// The calibration form's controller against the simulated tachograph on a private profile: what the
// master sees of a read, how a bad entry stays in the form and stops the write, the tyre calculation,
// the vehicle catalogue and the saved configurations.
#include "../support/simulator_process.h"
#include "qml_controllers/calibration_form.h"
#include "qml_controllers/qml_calibration_controller.h"
#include "qml_controllers/qml_settings_controller.h"
#include "storage/app_paths.h"

#include <QAbstractItemModel>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using tachoria::qml::QmlCalibrationController;
using tachoria::qml::QmlSettingsController;
using tachoria::test::SimulatorProcess;

namespace {

QVariant role(const QAbstractItemModel& model, int row, const char* name)
{
    const QHash<int, QByteArray> roles = model.roleNames();
    return model.data(model.index(row, 0), roles.key(name));
}

int rowOf(const QAbstractItemModel& model, const QString& label)
{
    for (int row = 0; row < model.rowCount(); ++row) {
        if (role(model, row, "label").toString() == label)
            return row;
    }
    return -1;
}

} // namespace

class TestCalibrationController : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_profile;
    std::unique_ptr<SimulatorProcess> m_simulator;
    std::unique_ptr<QmlSettingsController> m_settings;
    std::unique_ptr<QmlCalibrationController> m_controller;

private Q_SLOTS:
    void initTestCase()
    {
        qputenv("LOCALAPPDATA", m_profile.path().toLocal8Bit());
        tachoria::storage::AppPaths::ensureDirectories();
        // The unit lacks the backlight colour.
        m_simulator = std::make_unique<SimulatorProcess>(
            QStringList{QStringLiteral("--refuse"), QStringLiteral("F103")});
        QString error;
        QVERIFY2(m_simulator->start(&error), qPrintable(error));
        m_settings = std::make_unique<QmlSettingsController>();
        m_settings->setCalibrationPort(m_simulator->link());
        m_settings->setTachoriaMark(QStringLiteral("12345"));
        m_controller = std::make_unique<QmlCalibrationController>(m_settings.get(), nullptr);
        m_controller->read();
        QVERIFY(m_controller->busy());
        QTRY_VERIFY_WITH_TIMEOUT(!m_controller->busy(), 15000);
        QVERIFY2(m_controller->readCompleted(), qPrintable(m_controller->lastError()));
    }

    void cleanupTestCase()
    {
        m_controller.reset();
        m_simulator.reset();
    }

    void tyreMarkings_data()
    {
        QTest::addColumn<QString>("marking");
        QTest::addColumn<QString>("millimetres");
        QTest::newRow("width/ratio R rim") << "230/65 R15"
                                           << "2136";
        QTest::newRow("no blank, half-inch rim") << "315/80R22.5"
                                                 << "3379";
        QTest::newRow("inches with x") << "31x10.50 R15"
                                       << "2467";
        QTest::newRow("width-rim in mm") << "240-508 (9.00 R20)"
                                         << "2878";
        QTest::newRow("width in inches R rim") << "11R22.5"
                                               << "3285";
        QTest::newRow("diameter x width — rim") << "1080x425—484"
                                                << "3390";
        QTest::newRow("inches with a dash") << "9.00-20"
                                            << "2771";
        QTest::newRow("inches with D") << "6.15 d 13"
                                       << "1841";
        QTest::newRow("width below the limits") << "90/65 R15"
                                                << "";
        QTest::newRow("no form") << "R15"
                                 << "";
        QTest::newRow("empty") << "  "
                               << "";
    }

    void tyreMarkings()
    {
        QFETCH(QString, marking);
        QFETCH(QString, millimetres);
        QCOMPARE(m_controller->calculateTireCircumference(marking), millimetres);
        if (!millimetres.isEmpty())
            QCOMPARE(m_controller->statusText(), QStringLiteral("L рассчитана: %1 мм").arg(millimetres));
    }

    void configurationValues_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("shown");
        QTest::newRow("CAN") << "CAN1"
                             << "1;2;1"
                             << "включён; 500 кбит/с; 29 бит";
        QTest::newRow("CAN messages") << "CAN2_NV"
                                      << "0;1;0;1"
                                      << "TCO2 выкл.; TCO3 вкл.; TCO4 выкл.; резистор вкл.";
        QTest::newRow("DM1 both") << "EnableDM1"
                                  << "17"
                                  << "CAN1 вкл.; CAN2 вкл.";
        QTest::newRow("DM1 second") << "EnableDM1"
                                    << "16"
                                    << "CAN1 выкл.; CAN2 вкл.";
        QTest::newRow("period") << "CAN1_Interval_TCO1"
                                << "1"
                                << "50 мс";
        QTest::newRow("output") << "B6"
                                << "1;0;3600"
                                << "включён; уровень 0; K 3600 имп/км";
        QTest::newRow("work and rest") << "PTO"
                                       << "255;270;525;540;15;45;540"
                                       << "перерыв от 270 мин; отдых от 540 мин; минимальный перерыв 15 мин";
        QTest::newRow("speed source") << "SourceSpeed"
                                      << "4;0"
                                      << "CAN CCVS";
        QTest::newRow("brightness") << "SourceBacklightBrightnessAdjustment"
                                    << "2"
                                    << "A2";
        QTest::newRow("colour") << "IlluminationColor"
                                << "11"
                                << "Лайм";
        QTest::newRow("CAN VIN") << "CANvehicleIdentificationNumberEnabled"
                                 << "1"
                                 << "включён; VIN вводится отдельно для конкретного ТС";
        QTest::newRow("priority") << "Can2Tco1Priority"
                                  << "6"
                                  << "6 (0–7)";
        QTest::newRow("other") << "tyreSize"
                               << "315/80R22.5"
                               << "315/80R22.5";
    }

    void configurationValues()
    {
        QFETCH(QString, name);
        QFETCH(QString, value);
        QFETCH(QString, shown);
        QCOMPARE(tachoria::qml::configurationValueLabel(name, value), shown);
    }

    // The list the form is built from: every identifier, the unit's values, what it lacks and what is
    // only to be looked at.
    void readFillsTheModel()
    {
        const QAbstractItemModel& model = *m_controller->parameterModel();
        QCOMPARE(model.rowCount(), 39);
        QCOMPARE(role(model, 0, "identifier").toString(), QStringLiteral("0xF90B"));
        const int vin = rowOf(model, QStringLiteral("VIN"));
        QCOMPARE(role(model, vin, "value").toString(), QStringLiteral("XTA210990Y1234567"));
        QVERIFY(role(model, vin, "editable").toBool());
        const int serial = rowOf(model, QStringLiteral("Серийный номер"));
        QVERIFY(role(model, serial, "supported").toBool());
        QVERIFY(!role(model, serial, "editable").toBool());
        const int colour = rowOf(model, QStringLiteral("Цвет подсветки"));
        QVERIFY(!role(model, colour, "supported").toBool());
        QVERIFY(!m_controller->parameterSupported(QStringLiteral("IlluminationColor")));
        QCOMPARE(m_controller->values().value(QStringLiteral("VehicleRegistrationNumber")).toString(),
                 QStringLiteral("A123BC77"));
    }

    // A bad VIN stays in the field as typed and stops the write with its line; correcting it clears
    // the mark. K takes W along.
    void badEntriesStayAndStopTheWrite()
    {
        QSignalSpy refused(m_controller.get(), &QmlCalibrationController::validationFailed);
        const QString vin = QStringLiteral("vehicleIdentificationNumber");
        QVERIFY(!m_controller->setParameterValue(vin, QStringLiteral("XTA21099OY1234567")));
        QCOMPARE(m_controller->parameterValue(vin), QStringLiteral("XTA21099OY1234567"));
        m_controller->write(false);
        QCOMPARE(refused.count(), 1);
        QVERIFY(refused.first().first().toString().contains(QStringLiteral(
            "\nVIN: VIN содержит недопустимые символы: разрешены цифры и заглавные A-Z, кроме I, O, "
            "Q; пример WVWZZZ1JZXW000001")));
        QCOMPARE(m_controller->statusText(), QStringLiteral("Проверка не пройдена: исправьте параметры"));
        QVERIFY(m_controller->validationErrors().contains(vin));
        QVERIFY(!m_controller->busy());
        QVERIFY(m_controller->readCompleted());

        QVERIFY(m_controller->setParameterValue(vin, QStringLiteral("XTA210990Y7654321")));
        QVERIFY(!m_controller->validationErrors().contains(vin));

        QVERIFY(m_controller->setParameterValue(QStringLiteral("kConstantOfRecordingEquipment"),
                                                QStringLiteral("3600")));
        QCOMPARE(m_controller->parameterValue(QStringLiteral("wVehicleCharacteristicConstant")),
                 QStringLiteral("3600"));

        QVERIFY(!m_controller->saveMeasuredK(2399));
        QCOMPARE(m_controller->lastError(), QStringLiteral("Недопустимый Кф!!!"));
        QVERIFY(m_controller->saveMeasuredK(6240));
        QCOMPARE(m_controller->parameterValue(QStringLiteral("wVehicleCharacteristicConstant")),
                 QStringLiteral("6240"));
    }

    // A model of the catalogue sets the CAN side of the form; a saved configuration appears among the
    // models of its make.
    void catalogueAndConfigurations()
    {
        m_controller->initializeVehicleCatalog();
        QTRY_VERIFY(m_controller->vehicleManufacturers().size() == 16);
        QVERIFY(m_controller->applyVehicleModel(0, 1)); // DAF "LF, CF, XF"
        QCOMPARE(m_controller->parameterValue(QStringLiteral("CAN1")), QStringLiteral("1;1;1"));
        QCOMPARE(m_controller->parameterValue(QStringLiteral("CAN1_NV")), QStringLiteral("0;0;0;0"));
        QCOMPARE(m_controller->parameterValue(QStringLiteral("CAN2")), QStringLiteral("0;2;0"));
        QCOMPARE(m_controller->parameterValue(QStringLiteral("Can1Tco1Priority")), QStringLiteral("3"));
        QCOMPARE(m_controller->parameterValue(QStringLiteral("PulsesPerRevolutionOfOutputShaft")),
                 QStringLiteral("8138"));

        QVERIFY(m_controller->saveVehicleConfiguration(QStringLiteral("DAF"), QStringLiteral("XF")));
        QVERIFY(m_controller->setParameterValue(QStringLiteral("CAN1"), QStringLiteral("1;3;0")));
        // The same make and model in other letters meet the same row, whose names stay.
        QVERIFY(m_controller->saveVehicleConfiguration(QStringLiteral("daf"), QStringLiteral("xf")));
        const QVariantList saved = m_controller->vehicleConfigurations();
        QCOMPARE(saved.size(), 1);
        const QVariantMap row = saved.first().toMap();
        QCOMPARE(row.value(QStringLiteral("manufacturer")).toString(), QStringLiteral("DAF"));
        QCOMPARE(row.value(QStringLiteral("parameters")).toMap().value(QStringLiteral("CAN1")).toString(),
                 QStringLiteral("1;3;0"));
        const QVariantList models = m_controller->vehicleModelsForManufacturer(QStringLiteral("DAF"));
        QCOMPARE(models.last().toMap().value(QStringLiteral("id")).toString(),
                 QStringLiteral("profile:%1").arg(row.value(QStringLiteral("id")).toInt()));

        // Applied to another vehicle, a configuration with the CAN VIN in use keeps that vehicle's VIN.
        const QString canVin = QStringLiteral("CANvehicleIdentificationNumber");
        QVERIFY(m_controller->setParameterValue(canVin, QStringLiteral("WVWZZZ1JZXW000001")));
        QVERIFY(m_controller->saveVehicleConfiguration(QStringLiteral("MAN"), QStringLiteral("TGX")));
        QVERIFY(m_controller->setParameterValue(canVin, QStringLiteral("XTA210990Y1234567")));
        QVERIFY(m_controller->setParameterValue(QStringLiteral("CAN1"), QStringLiteral("0;0;0")));
        const QVariantMap man = m_controller->vehicleConfigurations().last().toMap(); // by make: DAF, MAN
        QCOMPARE(man.value(QStringLiteral("model")).toString(), QStringLiteral("TGX"));
        QVERIFY(m_controller->applyVehicleConfiguration(man.value(QStringLiteral("id")).toInt()));
        QCOMPARE(m_controller->parameterValue(canVin), QStringLiteral("XTA210990Y1234567"));
        QCOMPARE(m_controller->parameterValue(QStringLiteral("CAN1")), QStringLiteral("1;3;0"));
        QVERIFY(
            m_controller->statusText().startsWith(QStringLiteral("Параметры профиля применены к форме (")));

        QVERIFY(m_controller->deleteVehicleConfiguration(man.value(QStringLiteral("id")).toInt()));
        QVERIFY(!m_controller->deleteVehicleConfiguration(man.value(QStringLiteral("id")).toInt()));
        QCOMPARE(m_controller->lastError(), QStringLiteral("Конфигурация не найдена или не удалена."));
    }
};

QTEST_MAIN(TestCalibrationController)
#include "test_calibration_controller.moc"
