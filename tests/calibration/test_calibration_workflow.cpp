// The calibration sequence against the simulated tachograph, with the journal in a real SQLite file.
#include "../support/simulator_process.h"
#include "calibration/calibration_workflow.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTemporaryDir>
#include <QTest>

using tachoria::calibration::CalibrationParameter;
using tachoria::calibration::CalibrationParameterCodec;
using tachoria::calibration::CalibrationSettings;
using tachoria::calibration::CalibrationWorkflow;
using tachoria::calibration::ParameterAccess;
using tachoria::test::SimulatorProcess;

namespace {

QStringList writtenIdentifiers(const QString& statePath)
{
    QFile file(statePath);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QStringList out;
    for (const QJsonValue& item :
         QJsonDocument::fromJson(file.readAll()).object().value(QStringLiteral("writes")).toArray())
        out << item.toString();
    return out;
}

QString hex4(quint16 did)
{
    return QStringLiteral("%1").arg(did, 4, 16, QLatin1Char('0')).toUpper();
}

struct JournalRow
{
    int count = 0;
    QVariantMap last;
};

JournalRow journal(const QString& databasePath)
{
    JournalRow row;
    {
        QSqlDatabase db =
            QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("journal-check"));
        db.setDatabaseName(databasePath);
        if (db.open()) {
            QSqlQuery query(db);
            if (query.exec(QStringLiteral("SELECT * FROM Calibrations ORDER BY Id"))) {
                while (query.next()) {
                    ++row.count;
                    row.last.clear();
                    for (int i = 0; i < query.record().count(); ++i)
                        row.last.insert(query.record().fieldName(i), query.value(i));
                }
            }
        }
    }
    QSqlDatabase::removeDatabase(QStringLiteral("journal-check"));
    return row;
}

} // namespace

class TestCalibrationWorkflow : public QObject
{
    Q_OBJECT

    QTemporaryDir m_profile;

    QString calibrationDatabase() const
    {
        return m_profile.filePath(QStringLiteral("Tachoria/Data/DB/CalibrationDB.db"));
    }

    CalibrationSettings settings(const QString& port) const
    {
        CalibrationSettings s;
        s.port = port;
        s.tachoriaName = QStringLiteral("ООО «Тахосервис»");
        s.tachoriaAddress = QStringLiteral("г. Тверь, ул. Мастеров, 7");
        s.tachoriaCodeFbu = 4711;
        s.masterCardNumber = QStringLiteral("RUM0000012345600");
        s.skziNumber = QStringLiteral("7800000000000417");
        return s;
    }

private Q_SLOTS:
    void initTestCase() { qputenv("LOCALAPPDATA", m_profile.path().toUtf8()); }

    void init() { QFile::remove(calibrationDatabase()); }

    void readMarksRefusedIdentifiersUnavailable()
    {
        SimulatorProcess sim({QStringLiteral("--refuse"), QStringLiteral("F103,FD0F")});
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        CalibrationWorkflow workflow;
        workflow.configure(settings(sim.link()));
        QSignalSpy progress(&workflow, &CalibrationWorkflow::progress);
        QVERIFY2(workflow.readCalibration(&error), qPrintable(error));
        QVERIFY(workflow.isConnected());
        const auto parameters = workflow.parameters();
        QCOMPARE(parameters.size(), 39);
        for (const CalibrationParameter& parameter : parameters)
            QCOMPARE(parameter.available, parameter.did != 0xF103 && parameter.did != 0xFD0F);
        QCOMPARE(CalibrationParameterCodec::displayValue(parameters.at(11)),
                 QStringLiteral("XTA210990Y1234567"));
        // Each identifier announces itself before and after its read.
        QCOMPARE(progress.first().at(0).toString(),
                 QStringLiteral("Открываем стандартную диагностическую сессию"));
        QCOMPARE(progress.at(1).at(0).toString(), QStringLiteral("Вычитывается DID 0xF90B (TimeDate)"));
        QCOMPARE(progress.at(2).at(0).toString(), QStringLiteral("Прочитан DID 0xF90B (TimeDate)"));
        workflow.stopCommunication();
        QVERIFY(!workflow.isConnected());
    }

    void fullWriteGoesOutInCatalogueOrder()
    {
        SimulatorProcess sim({}, false, true);
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        CalibrationWorkflow workflow;
        workflow.configure(settings(sim.link()));
        QVERIFY2(workflow.readCalibration(&error), qPrintable(error));
        QVERIFY(workflow.setDisplayValue(11, QStringLiteral("WVWZZZ1JZXW000001"), &error));
        QVERIFY(workflow.setDisplayValue(16, QStringLiteral("3150"), &error));
        QVERIFY2(workflow.writeCalibration(&error), qPrintable(error));
        QVERIFY(!workflow.isConnected()); // a write always ends the session

        QStringList expected;
        for (const CalibrationParameter& parameter : workflow.parameters()) {
            if (parameter.available && parameter.access != ParameterAccess::ReadOnly)
                expected << hex4(parameter.did);
        }
        QCOMPARE(writtenIdentifiers(sim.statePath()), expected);

        const JournalRow row = journal(calibrationDatabase());
        QCOMPARE(row.count, 1);
        QCOMPARE(row.last.value(QStringLiteral("WriteResult")).toInt(), 1);
        QCOMPARE(row.last.value(QStringLiteral("WriteError")).toString(), QStringLiteral("Успешно"));
        QCOMPARE(row.last.value(QStringLiteral("VehicleIdentificationNumber")).toString(),
                 QStringLiteral("WVWZZZ1JZXW000001"));
        QCOMPARE(row.last.value(QStringLiteral("VuSerialNumber")).toString(),
                 QStringLiteral("2505001800001234"));
        QCOMPARE(row.last.value(QStringLiteral("TachoriaCodeFBU")).toInt(), 4711);
        QCOMPARE(row.last.value(QStringLiteral("MasterCardNumber")).toString(),
                 QStringLiteral("RUM0000012345600"));

        // A new session reads back what was written.
        QVERIFY(workflow.readCalibration(&error));
        QCOMPARE(CalibrationParameterCodec::displayValue(workflow.parameters().at(11)),
                 QStringLiteral("WVWZZZ1JZXW000001"));
        QCOMPARE(CalibrationParameterCodec::displayValue(workflow.parameters().at(16)),
                 QStringLiteral("3150"));
        QCOMPARE(workflow.parameters().at(9).value.toInt(), 4711); // the shop's code went out unasked
        workflow.stopCommunication();
    }

    void refusalInTheMiddleLeavesAFailedRow()
    {
        SimulatorProcess sim({QStringLiteral("--refuse-write"), QStringLiteral("F91C")}, false, true);
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        CalibrationWorkflow workflow;
        workflow.configure(settings(sim.link()));
        QVERIFY2(workflow.readCalibration(&error), qPrintable(error));
        QVERIFY(!workflow.writeCalibration(&error));
        QCOMPARE(error, QStringLiteral("Ошибка записи параметра lTyreCircumference: "
                                       "TACHOGRAPH NEGATIVE RESPONSE: SID=0X2E NRC=0X22"));
        QVERIFY(!workflow.isConnected());

        const QStringList written = writtenIdentifiers(sim.statePath());
        QCOMPARE(written.last(), QStringLiteral("F91D")); // the one before the refused identifier
        QVERIFY(!written.contains(QStringLiteral("F91C")));
        const JournalRow row = journal(calibrationDatabase());
        QCOMPARE(row.count, 1);
        QCOMPARE(row.last.value(QStringLiteral("WriteResult")).toInt(), 0);
        QCOMPARE(row.last.value(QStringLiteral("WriteError")).toString(), error);
        QCOMPARE(row.last.value(QStringLiteral("KConstantOfRecordingEquipment")).toInt(), 8000);
    }

    void validationFailureWritesNothing()
    {
        SimulatorProcess sim({}, false, true);
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        CalibrationWorkflow workflow;
        workflow.configure(settings(sim.link()));
        QVERIFY2(workflow.readCalibration(&error), qPrintable(error));
        QList<CalibrationParameter> parameters = workflow.parameters();
        parameters[11].value = QStringLiteral("SHORTVIN"); // as if a unit had reported it
        parameters[14].value = 12u;
        workflow.replaceParameters(parameters);
        QVERIFY(!workflow.writeCalibration(&error));
        QVERIFY2(error.startsWith(
                     QStringLiteral("Запись не начата. Исправьте параметры:\nvehicleIdentificationNumber: ")),
                 qPrintable(error));
        QVERIFY(error.contains(
            QStringLiteral("\nkConstantOfRecordingEquipment: требуется целое число от 1000 до 64255")));
        QVERIFY(workflow.isConnected()); // the session stays up for the correction
        QCOMPARE(writtenIdentifiers(sim.statePath()), QStringList());
        QCOMPARE(journal(calibrationDatabase()).count, 0);
        workflow.stopCommunication();
    }

    void writeWithoutReadIsRefused()
    {
        CalibrationWorkflow workflow;
        workflow.configure(settings(QStringLiteral("/dev/null")));
        QString error;
        QVERIFY(!workflow.writeCalibration(&error));
        QCOMPARE(error, QStringLiteral("Сначала необходимо прочитать параметры тахографа"));
    }

    void readThroughTheAdapter()
    {
        SimulatorProcess sim({}, true);
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        CalibrationSettings s = settings(QStringLiteral("/dev/unused-when-through-adapter"));
        s.useRalona = true;
        s.ralonaPort = sim.adapterLink();
        CalibrationWorkflow workflow;
        workflow.configure(s);
        QVERIFY2(workflow.readCalibration(&error), qPrintable(error));
        QCOMPARE(CalibrationParameterCodec::displayValue(workflow.parameters().at(4)),
                 QStringLiteral("2505001800001234"));
        workflow.stopCommunication();
    }

    void testerPresentKeepsTheSessionAndReportsItsLoss()
    {
        SimulatorProcess sim;
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        CalibrationWorkflow workflow;
        workflow.configure(settings(sim.link()));
        QVERIFY2(workflow.readCalibration(&error), qPrintable(error));
        QSignalSpy progress(&workflow, &CalibrationWorkflow::progress);
        QSignalSpy failed(&workflow, &CalibrationWorkflow::testerPresentFailed);
        const auto alive = [&progress] {
            int n = 0;
            for (const auto& call : progress)
                n += call.at(0).toString() == QStringLiteral("TesterPresent: сессия активна");
            return n;
        };
        QTRY_VERIFY_WITH_TIMEOUT(alive() >= 2, 10000);

        QCOMPARE(failed.count(), 0);

        QVERIFY(sim.stop());
        QTRY_COMPARE_WITH_TIMEOUT(failed.count(), 1, 10000);
        QVERIFY(!failed.first().at(0).toString().isEmpty());
        QVERIFY(workflow.parametersRead()); // the loss is reported, nothing is torn down
        workflow.stopCommunication();
    }

    void measurements()
    {
        SimulatorProcess sim({QStringLiteral("--pulse-count"), QStringLiteral("12345")});
        QString error;
        QVERIFY2(sim.start(&error), qPrintable(error));
        CalibrationWorkflow workflow;
        workflow.configure(settings(sim.link()));
        QVERIFY2(workflow.readCalibration(&error), qPrintable(error));
        QVERIFY2(workflow.startAdjustmentSession(&error), qPrintable(error));
        QVERIFY2(workflow.startCountImpulses(&error), qPrintable(error));
        quint32 count = 0;
        QVERIFY(workflow.stopCountImpulses(count, &error));
        QCOMPARE(count, 12345u);

        QList<int> masks;
        QByteArray source;
        QVERIFY2(workflow.findSourceSpeed(source, &error, [&masks](int mask) { masks << mask; }),
                 qPrintable(error));
        QCOMPARE(masks, (QList<int>{1, 3, 7, 15}));
        QCOMPARE(source.toHex(), QByteArray("020f"));
        workflow.stopCommunication();
    }
};

QTEST_GUILESS_MAIN(TestCalibrationWorkflow)
#include "test_calibration_workflow.moc"
