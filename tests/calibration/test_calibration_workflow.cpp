// The calibration sequence against the simulated tachograph, as the unit sees it: the requests, their
// bytes and their times, and the journal row in a real SQLite file.
#include "../support/process_runner.h"
#include "../support/simulator_process.h"
#include "calibration/calibration_workflow.h"
#include "logging/application_logger.h"
#include "storage/calibration_repository.h"

#include <QCoreApplication>
#include <QDir>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <thread>
#include <utility>

using namespace tachoria::calibration;
using tachoria::logging::ApplicationLogger;
using tachoria::test::Exchange;
using tachoria::test::SimulatorProcess;
using namespace Qt::StringLiterals;

namespace {

QString did(quint16 id)
{
    return QString::fromLatin1(QByteArray::fromHex(QByteArray::number(id, 16)).toHex(' ').toUpper());
}

// The requests of one service, in order, without their SID.
QStringList service(const QStringList& requests, const QString& sid)
{
    QStringList out;
    for (const QString& request : requests)
        if (request.startsWith(sid + u' '))
            out << request.mid(3);
    return out;
}

// The shortest time between an answer of the unit and the next request, over the requests of `sid`
// that follow another one of the same service.
qint64 shortestPauseBetween(const QList<Exchange>& exchanges, const QString& sid)
{
    qint64 shortest = std::numeric_limits<qint64>::max();
    qint64 answered = -1;
    QString previous;
    for (const Exchange& e : exchanges) {
        if (e.kind == u"tx")
            answered = e.ms;
        if (e.kind != u"rx")
            continue;
        if (e.bytes.startsWith(sid) && previous.startsWith(sid))
            shortest = std::min(shortest, e.ms - answered);
        previous = e.bytes;
    }
    return shortest;
}

QStringList texts(const QSignalSpy& spy)
{
    QStringList out;
    for (const QList<QVariant>& call : spy)
        out << u"%1|%2|%3"_s.arg(call.at(0).toString()).arg(call.at(1).toInt()).arg(call.at(2).toInt());
    return out;
}

} // namespace

class TestCalibrationWorkflow : public QObject
{
    Q_OBJECT

    QTemporaryDir m_profile;

    CalibrationSettings settings(const QString& port) const
    {
        CalibrationSettings s;
        s.port = port;
        s.tachoriaName = u"ООО «Тахосервис»"_s;
        s.tachoriaAddress = u"г. Тверь, ул. Мастеров, 7"_s;
        s.tachoriaCodeFbu = 4711;
        s.tachoriaCardExpiryDate = 1900000000;
        s.masterCardNumber = u"RUM0000012345600"_s;
        s.skziNumber = u"7800000000000417"_s;
        return s;
    }

    static QList<QVariantMap> journal()
    {
        return tachoria::storage::CalibrationRepository().allCalibrations();
    }

    // A simulator and a workflow that has read it.
    struct Session
    {
        SimulatorProcess sim;
        CalibrationWorkflow workflow;
        QString error;
        Session(const QStringList& arguments, const CalibrationSettings& settings, bool withAdapter = false)
            : sim(arguments, withAdapter, true)
        {
            if (!sim.start(&error))
                return;
            CalibrationSettings s = settings;
            if (s.port.isEmpty())
                s.port = sim.link();
            workflow.configure(s);
        }
    };

private Q_SLOTS:
    void initTestCase()
    {
        qputenv("LOCALAPPDATA", m_profile.path().toUtf8());
        ApplicationLogger::initialize(m_profile.path(), true);
    }
    void init() { QDir(m_profile.filePath(u"Tachoria"_s)).removeRecursively(); }

    // The whole road: a unit that wakes on the second StartCommunication and lacks two identifiers is
    // read under the standard session, identifier by identifier with a pause, and written under the
    // programming session after SecurityAccess, in catalogue order, with a journal row.
    void readAndWrite()
    {
        Session s({u"--sleepy-starts"_s, u"1"_s, u"--refuse"_s, u"F103,FD0F,FD04"_s}, settings({}));
        QVERIFY2(s.error.isEmpty(), qPrintable(s.error));
        QSignalSpy progress(&s.workflow, &CalibrationWorkflow::progress);
        QVERIFY2(s.workflow.readCalibration(&s.error), qPrintable(s.error));
        QVERIFY(s.workflow.isConnected() && s.workflow.parametersRead());
        QStringList expected{u"81"_s, u"81"_s, u"10 81"_s};
        for (const CalibrationParameter& p : s.workflow.parameters()) {
            expected << u"22 "_s + did(p.did);
            QCOMPARE(p.available, p.did != 0xF103 && p.did != 0xFD0F);
        }
        QCOMPARE(s.sim.requests(), expected);
        QVERIFY(shortestPauseBetween(s.sim.exchanges(), u"22"_s) >= 25);
        QCOMPARE(texts(progress).mid(0, 3),
                 QStringList({u"Открываем стандартную диагностическую сессию|0|39"_s,
                              u"Вычитывается DID 0xF90B (TimeDate)|0|39"_s,
                              u"Прочитан DID 0xF90B (TimeDate)|1|39"_s}));
        QCOMPARE(texts(progress).mid(79), QStringList({u"TesterPresent: поток запущен|0|0"_s}));
        QVERIFY(journal().isEmpty()); // a read leaves no row
        quint32 count = 0;
        QVERIFY(!s.workflow.stopCountImpulses(count, &s.error)); // a pulse counter the unit refuses
        QCOMPARE(s.error, u"TACHOGRAPH NEGATIVE RESPONSE: SID=0X22 NRC=0X31"_s);
        expected << u"22 FD 04"_s;

        QVERIFY(s.workflow.setDisplayValue(11, u"WVWZZZ1JZXW000001"_s, &s.error));
        QVERIFY(s.workflow.setDisplayValue(16, u"3150"_s, &s.error));
        s.workflow.setTimeDateCorrections(30, 70);
        QCOMPARE(s.workflow.timeDateCorrectionHour() * 100 + s.workflow.timeDateCorrectionMinute(), 2359);
        s.workflow.setTimeDateCorrections(5, -70);
        QCOMPARE(s.workflow.timeDateCorrectionMinute(), -59);
        progress.clear();
        QVERIFY2(s.workflow.writeCalibration(&s.error), qPrintable(s.error));
        QVERIFY(!s.workflow.isConnected() && !s.workflow.parametersRead()); // a write always ends the session
        QCOMPARE(texts(progress).mid(0, 3), QStringList({u"Запрашиваем SecurityAccess|0|39"_s,
                                                         u"Записывается DID 0xF90B (TimeDate)|0|39"_s,
                                                         u"Записан DID 0xF90B (TimeDate)|1|39"_s}));

        const QStringList requests = s.sim.requests().mid(expected.size());
        QCOMPARE(requests.mid(0, 2), QStringList({u"10 85"_s, u"27 7D"_s}));
        QCOMPARE(requests.last(), u"82"_s);
        const QStringList writes = service(requests, u"2E"_s);
        QStringList order;
        for (const CalibrationParameter& p : s.workflow.parameters())
            if (p.available && p.access == ParameterAccess::ReadWrite)
                order << did(p.did);
        QCOMPARE(writes.size(), order.size());
        for (qsizetype i = 0; i < writes.size(); ++i)
            QCOMPARE(writes[i].left(5), order[i]);
        QVERIFY2(writes[0].endsWith(u" 42 82"_s), qPrintable(writes[0])); // offsets -59 and +5, each + 125
        QVERIFY(writes.contains(u"F1 9A 12 67"_s));                       // the shop's code went out unasked
        QVERIFY(writes.contains(u"F1 90 "_s +
                                QString::fromLatin1(QByteArray("WVWZZZ1JZXW000001").toHex(' ').toUpper())));
        QVERIFY(writes.contains(u"F9 1C 62 70"_s)); // 3150 mm in eighths
        QVERIFY(shortestPauseBetween(s.sim.exchanges(), u"2E"_s) >= 25);

        const QList<QVariantMap> rows = journal();
        QCOMPARE(rows.size(), 1);
        const QVariantMap expectedRow{{u"CalibrationPurpose"_s, 4},
                                      {u"WriteResult"_s, 1},
                                      {u"WriteError"_s, u"Успешно"_s},
                                      {u"VuSerialNumber"_s, u"2505001800001234"_s},
                                      {u"TachoriaCodeFBU"_s, 4711},
                                      {u"TachoriaName"_s, u"ООО «Тахосервис»"_s},
                                      {u"TachoriaAddress"_s, u"г. Тверь, ул. Мастеров, 7"_s},
                                      {u"TachoriaCardExpiryDate"_s, 1900000000},
                                      {u"MasterCardNumber"_s, u"RUM0000012345600"_s},
                                      {u"SkziNumber"_s, u"7800000000000417"_s},
                                      {u"VehicleIdentificationNumber"_s, u"WVWZZZ1JZXW000001"_s},
                                      {u"LTyreCircumference"_s, 3150}};
        for (auto it = expectedRow.cbegin(); it != expectedRow.cend(); ++it)
            QCOMPARE(rows[0].value(it.key()).toString(), it.value().toString());
    }

    // Every way a write stops: before anything goes out the session stays up and no row is made; once
    // the row is open, it records the failure and the session is closed.
    void writeFailures_data()
    {
        QTest::addColumn<QStringList>("simulator");
        QTest::addColumn<int>("parameter"); // set to `value` before the write; -1: none
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("error");
        QTest::addColumn<int>("rows");
        QTest::addColumn<QString>("lastRequest");
        const QString rdbi = u"22 F1 03"_s;
        QTest::newRow("invalid values")
            << QStringList{} << 14 << u"12"_s
            << u"Запись не начата. Исправьте параметры:\nkConstantOfRecordingEquipment: "
               u"требуется целое число от 1000 до 64255, например 3600"_s
            << 0 << rdbi;
        QTest::newRow("programming session refused")
            << QStringList{u"--refuse-session"_s, u"85"_s} << -1 << QString()
            << u"TACHOGRAPH NEGATIVE RESPONSE: SID=0X10 NRC=0X12"_s << 1 << u"82"_s;
        QTest::newRow("security refused")
            << QStringList{u"--refuse-service"_s, u"27"_s} << -1 << QString()
            << u"TACHOGRAPH NEGATIVE RESPONSE: SID=0X27 NRC=0X22"_s << 1 << u"82"_s;
        QTest::newRow("an identifier refused")
            << QStringList{u"--refuse-write"_s, u"F91C"_s} << -1 << QString()
            << u"Ошибка записи параметра lTyreCircumference: TACHOGRAPH NEGATIVE RESPONSE: SID=0X2E NRC=0X22"_s
            << 1 << u"82"_s;
    }

    void writeFailures()
    {
        QFETCH(QStringList, simulator);
        QFETCH(int, parameter);
        QFETCH(QString, error);
        QFETCH(QString, lastRequest);
        Session s(simulator, settings({}));
        QVERIFY2(s.workflow.readCalibration(&s.error), qPrintable(s.error));
        if (parameter >= 0) {
            QList<CalibrationParameter> parameters = s.workflow.parameters();
            QFETCH(QString, value);
            parameters[parameter].value = value;
            s.workflow.replaceParameters(parameters); // as if the unit had reported it
        }
        QVERIFY(!s.workflow.writeCalibration(&s.error));
        QCOMPARE(s.error, error);
        QCOMPARE(s.workflow.isConnected(), lastRequest != u"82");
        QCOMPARE(s.sim.requests().last(), lastRequest);
        const QList<QVariantMap> rows = journal();
        QTEST(int(rows.size()), "rows");
        if (!rows.isEmpty()) {
            QCOMPARE(rows[0].value(u"WriteResult"_s).toInt(), 0);
            QCOMPARE(rows[0].value(u"WriteError"_s).toString(), error);
        }
        if (error.contains(u"lTyre"_s)) // the columns of what was written stay
            QCOMPARE(rows[0].value(u"KConstantOfRecordingEquipment"_s).toInt(), 8000);
        s.workflow.stopCommunication();
    }

    // Without a journal row nothing goes to the unit, and the session stays for another try.
    void journalUnavailable()
    {
        Session s({}, settings({}));
        QVERIFY2(s.workflow.readCalibration(&s.error), qPrintable(s.error));
        QVERIFY(QDir().mkpath(m_profile.filePath(u"Tachoria/Data/DB/CalibrationDB.db"_s)));
        QVERIFY(!s.workflow.writeCalibration(&s.error));
        QVERIFY2(s.error.startsWith(u"Не удалось открыть запись калибровки: "_s) && s.error.size() > 40,
                 qPrintable(s.error));
        QVERIFY(s.workflow.isConnected());
        QCOMPARE(service(s.sim.requests(), u"10"_s), QStringList{u"81"_s});
    }

    // A registration number the master chose to keep is neither checked nor written.
    void skipRegistrationNumber()
    {
        Session s({}, settings({}));
        QVERIFY2(s.workflow.readCalibration(&s.error), qPrintable(s.error));
        QList<CalibrationParameter> parameters = s.workflow.parameters();
        parameters[13].value = u"Q*Q"_s;
        s.workflow.replaceParameters(parameters);
        QSignalSpy progress(&s.workflow, &CalibrationWorkflow::progress);
        QVERIFY2(s.workflow.writeCalibration(&s.error, true), qPrintable(s.error));
        QVERIFY(!service(s.sim.requests(), u"2E"_s).join(u',').contains(u"F9 7E"_s));
        QVERIFY(
            texts(progress).contains(u"Запись рег. номера пропущена по подтверждению пользователя|14|39"_s));
    }

    void readFailures_data()
    {
        QTest::addColumn<QStringList>("simulator");
        QTest::addColumn<QString>("port");
        QTest::addColumn<QString>("error");
        QTest::addColumn<QStringList>("requests");
        QTest::newRow("no port") << QStringList{} << u" "_s << u"Не задан порт калибровки"_s << QStringList{};
        QTest::newRow("asleep through two starts")
            << QStringList{u"--sleepy-starts"_s, u"2"_s} << QString() << u"service frame timeout; "_s
            << QStringList{u"81"_s, u"81"_s};
        QTest::newRow("standard session refused") << QStringList{u"--refuse-session"_s, u"81"_s} << QString()
                                                  << u"TACHOGRAPH NEGATIVE RESPONSE: SID=0X10 NRC=0X12"_s
                                                  << QStringList{u"81"_s, u"10 81"_s, u"82"_s};
    }

    void readFailures()
    {
        QFETCH(QStringList, simulator);
        QFETCH(QString, port);
        QFETCH(QString, error);
        Session s(simulator, settings(port));
        QVERIFY(!s.workflow.readCalibration(&s.error));
        QVERIFY2(s.error.startsWith(error), qPrintable(s.error));
        QVERIFY(!s.workflow.isConnected());
        QTEST(s.sim.requests(), "requests");
    }

    // A unit that goes silent right after refusing an identifier has not refused the next one: the
    // read fails instead of taking it as unsupported.
    void silenceAfterARefusal()
    {
        // Start, session, then identifiers 1 to 4, the fourth refused; the fifth gets no answer.
        Session s({u"--refuse"_s, u"F18A"_s, u"--silent-after"_s, u"6"_s}, settings({}));
        std::thread stopper([&s] {
            while (!s.sim.requests().contains(u"22 F1 8C"_s))
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
            s.workflow.requestStop(); // instead of waiting out the unit's 20 s
        });
        const bool read = s.workflow.readCalibration(&s.error);
        stopper.join();
        QVERIFY(!read);
        QCOMPARE(s.error, u"service read stopped"_s);
        QVERIFY(!s.workflow.isConnected());
    }

    // Through the adapter: found, switched to K-line and to calibration on its own line, which then
    // settles for 350 ms before the tachograph is started on it at 10400 baud.
    void throughTheAdapter()
    {
        CalibrationSettings adapter = settings(u"/dev/unused-when-through-adapter"_s);
        adapter.useRalona = true;
        Session s({}, adapter, true);
        adapter.ralonaPort = s.sim.adapterLink();
        s.workflow.configure(adapter);
        QVERIFY2(s.workflow.readCalibration(&s.error), qPrintable(s.error));
        QVERIFY(s.sim.requests().isEmpty());
        const QList<Exchange> record = s.sim.exchanges();
        QStringList commands;
        for (const Exchange& e : record)
            if (e.kind == u"cmd")
                commands << e.bytes;
        QCOMPARE(commands, QStringList({u"07"_s, u"02"_s, u"01"_s}));
        qint64 lastAnswer = -1;   // of the adapter
        qint64 firstRequest = -1; // to the tachograph behind it
        for (const Exchange& e : record) {
            lastAnswer = e.kind == u"ans" ? e.ms : lastAnswer;
            firstRequest = e.kind == u"rx" && firstRequest < 0 ? e.ms : firstRequest;
        }
        QVERIFY2(firstRequest - lastAnswer >= 350, qPrintable(QString::number(firstRequest - lastAnswer)));
        QCOMPARE(s.sim.requests(u"adapter"_s).mid(0, 2), QStringList({u"81"_s, u"10 81"_s}));
        for (const Exchange& e : record) // a closed port may fall back to 38400 for a moment
            QVERIFY(e.kind != u"rx" || e.baud == 10400);
        s.workflow.stopCommunication();
        QCOMPARE(s.sim.requests(u"adapter"_s).last(), u"82"_s);

        adapter.ralonaPort = u" "_s;
        s.workflow.configure(adapter);
        QVERIFY(!s.workflow.readCalibration(&s.error));
        QCOMPARE(s.error, u"Не задан порт Ралоны"_s);
    }

    // Between operations the session is kept alive every 2000 ms with 3E 01; its loss is reported and
    // tears nothing down.
    void testerPresent()
    {
        Session s({}, settings({}));
        QVERIFY2(s.workflow.readCalibration(&s.error), qPrintable(s.error));
        QSignalSpy progress(&s.workflow, &CalibrationWorkflow::progress);
        QSignalSpy failed(&s.workflow, &CalibrationWorkflow::testerPresentFailed);
        QTRY_VERIFY_WITH_TIMEOUT(service(s.sim.requests(), u"3E"_s).size() >= 3, 15000);
        QCOMPARE(service(s.sim.requests(), u"3E"_s).mid(0, 3), QStringList(3, u"01"_s));
        QList<qint64> times;
        for (const Exchange& e : s.sim.exchanges())
            if (e.kind == u"rx" && e.bytes == u"3E 01")
                times << e.ms;
        for (qsizetype i = 1; i < times.size(); ++i)
            QVERIFY2(times[i] - times[i - 1] >= 1500, qPrintable(QString::number(times[i] - times[i - 1])));
        QCOMPARE(failed.count(), 0);
        QCOMPARE(texts(progress).mid(0, 2),
                 QStringList({u"TesterPresent: поддержание диагностической сессии|0|0"_s,
                              u"TesterPresent: сессия активна|0|0"_s}));
        QVERIFY(s.sim.stop());
        QTRY_COMPARE_WITH_TIMEOUT(failed.count(), 1, 10000);
        QVERIFY(!failed.first().at(0).toString().isEmpty());
        QVERIFY(s.workflow.parametersRead());
        const qsizetype seen = progress.count();
        QTest::qWait(2500); // the timer stopped with the failure
        QCOMPARE(progress.count(), seen);
        QFile::remove(ApplicationLogger::currentFilePath());
        s.workflow.stopCommunication(); // the unit is gone: the journal says so
        QStringList stops;
        for (const QVariantMap& r : tachoria::test::journalRecords(ApplicationLogger::currentFilePath(),
                                                                   QCoreApplication::applicationPid()))
            stops << r[u"level"_s].toString() + u'|' + r[u"category"_s].toString() + u'|' +
                         r[u"operation"_s].toString() + u'|' + r[u"message"_s].toString().section(u':', 0, 0);
        QCOMPARE(stops.filter(u"|stop|"_s),
                 QStringList({u"info|calibration|stop|Закрытие связи с тахографом"_s,
                              u"info|calibration|stop|Отправка StopCommunication"_s,
                              u"warning|calibration|stop|Не удалось корректно завершить "
                              u"связь с тахографом"_s}));
    }

    // The measurements need the adjustment session; security there unlocks them, not the calibration.
    void measurements()
    {
        Session s(
            {u"--pulse-count"_s, u"12345"_s, u"--can-speed"_s, u"5"_s, u"--speed-masks"_s, u"2,6,14,-,15"_s},
            settings({}));
        QByteArray bytes;
        quint32 count = 0;
        const auto notConnected = [&s](bool ok) {
            return !ok && std::exchange(s.error, {}) == u"Тахограф не подключен"_s;
        };
        QVERIFY(notConnected(s.workflow.startAdjustmentSession(&s.error)));
        QVERIFY(notConnected(s.workflow.startCountImpulses(&s.error)));
        QVERIFY(notConnected(s.workflow.startSearchSourceSpeed(&s.error)));
        QVERIFY(notConnected(s.workflow.detectCanSpeed(0, bytes, &s.error)));
        QVERIFY2(s.workflow.readCalibration(&s.error), qPrintable(s.error));
        QVERIFY(!s.workflow.detectCanSpeed(0, bytes, &s.error)); // not in the standard session
        QCOMPARE(s.error, u"SecurityAccess: TACHOGRAPH NEGATIVE RESPONSE: SID=0X27 NRC=0X22"_s);
        QVERIFY2(s.workflow.startAdjustmentSession(&s.error), qPrintable(s.error));
        QVERIFY2(s.workflow.startCountImpulses(&s.error), qPrintable(s.error));
        QVERIFY(s.workflow.stopCountImpulses(count, &s.error));
        QCOMPARE(count, 12345u);
        QList<int> masks;
        QVERIFY2(s.workflow.findSourceSpeed(bytes, &s.error, [&masks](int mask) { masks << mask; }),
                 qPrintable(s.error));
        QCOMPARE(masks, (QList<int>{2, 6, 14, 15})); // a garbled read goes on; all four sources seen ends it
        QCOMPARE(bytes.toHex(), QByteArray("020f"));
        s.workflow.requestStop(); // a stop ends the search at once, without a word
        QVERIFY(!s.workflow.findSourceSpeed(bytes, &s.error) && s.error.isEmpty() && bytes.isEmpty());
        s.workflow.clearStopRequest();
        // A stop asked while the search waits for its next read sends no further read.
        const qsizetype reads = s.sim.requests().count(u"22 FD 10"_s);
        QVERIFY(!s.workflow.findSourceSpeed(bytes, &s.error, [&s](int) { s.workflow.requestStop(); }));
        QVERIFY(s.error.isEmpty());
        QCOMPARE(s.sim.requests().count(u"22 FD 10"_s), reads + 1);
        s.workflow.clearStopRequest();
        QVERIFY2(s.workflow.detectCanSpeed(1, bytes, &s.error), qPrintable(s.error));
        QCOMPARE(bytes.toHex(), QByteArray("f5"));
        const QStringList requests = s.sim.requests();
        QCOMPARE(requests.mid(requests.indexOf(u"10 87"_s), 4),
                 QStringList({u"10 87"_s, u"27 7D"_s, u"2E FD 04 00 00 00 00"_s, u"22 FD 04"_s}));
        QVERIFY(requests.contains(u"2E FD 10 00 AA"_s));
        QCOMPARE(service(requests, u"2E"_s).last(), u"FD 12 01"_s);
        QVERIFY(requests.mid(requests.lastIndexOf(u"2E FD 12 01"_s) - 2, 2) ==
                QStringList({u"27 7D"_s, u"3E 01"_s}));
        // The adjustment session's security does not open the calibration.
        QVERIFY(!s.workflow.client().writeDataByIdentifier(0xF918, QByteArray::fromHex("0E10"), &s.error));
        QCOMPARE(s.error, u"TACHOGRAPH NEGATIVE RESPONSE: SID=0X2E NRC=0X33"_s);
        QVERIFY(!s.workflow.setDisplayValue(39, u"1"_s, &s.error));
        QCOMPARE(s.error, u"Неверный индекс параметра"_s);
        s.workflow.replaceParameters({});
        QCOMPARE(s.workflow.timeDateCorrectionHour(), 3);
        QCOMPARE(s.workflow.timeDateCorrectionMinute(), 0);
    }

    void writeWithoutRead()
    {
        CalibrationWorkflow workflow;
        workflow.configure(settings(u"/dev/null"_s));
        QString error;
        QVERIFY(!workflow.writeCalibration(&error));
        QCOMPARE(error, u"Сначала необходимо прочитать параметры тахографа"_s);
    }
};

QTEST_GUILESS_MAIN(TestCalibrationWorkflow)
#include "test_calibration_workflow.moc"
