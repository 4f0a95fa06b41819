// The MTP synchronisation: the PC's side in this process (through the settings controller, as the
// page starts it), the phone's side a process of its own, the drop box a shared folder. Markers
// that do not count, cancel, and a phone that goes away; and libmtp, which finds no phone here.
#include "installation.h"
#include "qml_controllers/qml_settings_controller.h"
#include "sync/mtp_sync_transport.h"
#include "sync/usb_sync_session.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <future>
#include <mutex>

using namespace tachoria::sync;
using namespace Qt::StringLiterals;
using tachoria::test::Installation;

namespace {

const UsbSyncSession::Timing kQuick{100, 1000, 2000, 20000};

UsbSyncSession::TransportFactory folderBox(const QString& folder)
{
    return [folder] { return std::make_unique<FolderSyncTransport>(folder); };
}

QStringList boxFiles(const QString& folder, const QString& pattern)
{
    return QDir(folder + QStringLiteral("/TachoriaSyncMTP")).entryList({pattern}, QDir::Files, QDir::Name);
}

void put(const QString& folder, const QString& name, const QString& text)
{
    QDir().mkpath(folder + QStringLiteral("/TachoriaSyncMTP"));
    QFile file(folder + QStringLiteral("/TachoriaSyncMTP/") + name);
    file.open(QIODevice::WriteOnly);
    file.write(text.toUtf8());
}

QString idAt(qint64 offsetMs)
{
    return QDateTime::currentDateTimeUtc().addMSecs(offsetMs).toString(
               QStringLiteral("yyyyMMdd_HHmmss_zzz")) +
           QStringLiteral("_0123456789abcdef0123456789abcdef");
}

} // namespace

class TestUsbSync : public QObject
{
    Q_OBJECT

    QTemporaryDir m_profile;
    const Installation m_pc{m_profile.path(), QCoreApplication::applicationDirPath()};

    std::mutex m_reportsLock;
    QStringList m_reports;

    std::future<UsbSyncResult> start(bool isPc, const QString& folder, std::atomic<bool>& cancel)
    {
        m_reports.clear();
        return std::async(std::launch::async, [this, isPc, folder, &cancel] {
            return UsbSyncSession(folderBox(folder), kQuick).run(isPc, cancel, [this](const QString& text) {
                const std::lock_guard<std::mutex> lock(m_reportsLock);
                m_reports.append(text);
            });
        });
    }

    bool reported(const QString& text)
    {
        const std::lock_guard<std::mutex> lock(m_reportsLock);
        return m_reports.contains(text);
    }

    static bool done(std::future<UsbSyncResult>& result)
    {
        return result.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    }

private Q_SLOTS:
    void initTestCase() { m_pc.use(); }

    void sessionIds_data()
    {
        QTest::addColumn<QString>("id");
        QTest::addColumn<bool>("valid");
        QTest::addColumn<bool>("recent");
        QTest::addColumn<QDateTime>("now");
        const QString uuid = QStringLiteral("_0123456789abcdef0123456789abcdef");
        const QDateTime now(QDate(2024, 5, 6), QTime(7, 9, 9, 123), Qt::UTC);
        QTest::newRow("made now") << UsbSyncSession::makeSessionId() << true << true
                                  << QDateTime::currentDateTimeUtc();
        QTest::newRow("300 s old") << QStringLiteral("20240506_070409_123") + uuid << true << true << now;
        QTest::newRow("300.001 s old")
            << QStringLiteral("20240506_070409_122") + uuid << true << false << now;
        QTest::newRow("120 s ahead") << QStringLiteral("20240506_071109_123") + uuid << true << true << now;
        QTest::newRow("3 min ahead") << QStringLiteral("20240506_071209_123") + uuid << true << false << now;
        QTest::newRow("upper-case digits")
            << QStringLiteral("20240506_070909_123_0123456789ABCDEF0123456789abcdef") << false << false
            << now;
        QTest::newRow("month 13") << QStringLiteral("20241306_070909_123") + uuid << true << false << now;
    }

    void sessionIds()
    {
        QFETCH(QString, id);
        QFETCH(bool, valid);
        QFETCH(bool, recent);
        QFETCH(QDateTime, now);
        QCOMPARE(UsbSyncSession::isValidSessionId(id), valid);
        QCOMPARE(UsbSyncSession::isRecentSessionId(id, now), recent);
    }

    void progressFollowsTheFirstWord()
    {
        const std::pair<const char*, int> texts[] = {
            {"Ожидание телефона в режиме «Передача файлов (MTP)»…", 10},
            {"Подготовка локальной базы к слиянию…", 35},
            {"Передача данных телефона через MTP…", 55},
            {"Слияние баз и файлов на компьютере…", 85},
            {"Получение пакета телефона…", 42},
        };
        for (const auto& [text, value] : texts)
            QCOMPARE(UsbSyncSession::progressValue(QString::fromUtf8(text), 42), value);
    }

    // Both sides end with the union; the drop box is left empty.
    void pcAndPhoneEndWithTheUnion()
    {
        QTemporaryDir box;
        QTemporaryDir phoneProfile;
        const Installation phone{phoneProfile.path(), QStringLiteral(TACHORIA_PHONE_DIR)};
        QDir(phone.programFolder + QStringLiteral("/DATA")).removeRecursively();
        QFile::remove(phone.programFolder + QStringLiteral("/Data/driver_cards.db"));
        QDir(m_pc.programFolder + QStringLiteral("/DATA")).removeRecursively();
        QFile::remove(m_pc.programFolder + QStringLiteral("/Data/driver_cards.db"));
        phone.fill(QStringLiteral("Т"));
        m_pc.fill(QStringLiteral("П"));
        m_pc.use();

        tachoria::qml::QmlSettingsController pc;
        QVERIFY(!pc.startUsbSync()); // the shop's data must be valid first: it travels too
        QCOMPARE(pc.lastError(),
                 QStringLiteral("Заполните обязательное поле «Наименование мастерской». Обязательны "
                                "все данные мастерской."));
        QVERIFY(!pc.usbSyncActive());
        pc.setTachoriaName(QStringLiteral("ООО «Тахосервис»"));
        pc.setTachoriaPost(QStringLiteral("443080"));
        pc.setTachoriaCity(QStringLiteral("Самара"));
        pc.setTachoriaStreet(QStringLiteral("ул. Ленина, 1"));
        pc.setTachoriaPhone(QStringLiteral("8 846 123-45-67"));
        pc.setTachoriaMark(QStringLiteral("12345"));
        pc.setUsbSyncTransport(folderBox(box.path()), {500, 1000, 30000, 30000});

        QProcess phoneProcess;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("LOCALAPPDATA"), phone.profile);
        phoneProcess.setProcessEnvironment(environment);
        phoneProcess.start(phone.programFolder + QStringLiteral("/sync_phone"),
                           {box.path(), QStringLiteral("30000")});
        QVERIFY(phoneProcess.waitForStarted());

        QStringList seen;
        connect(&pc, &tachoria::qml::QmlSettingsController::syncChanged, this, [&] {
            seen.append(QStringLiteral("%1 %2").arg(pc.usbSyncProgress()).arg(pc.usbSyncStatus()));
        });
        QVERIFY(pc.startUsbSync());
        QVERIFY(pc.usbSyncActive());
        QVERIFY(!pc.startUsbSync());
        QCOMPARE(pc.lastError(), QStringLiteral("Синхронизация по MTP уже выполняется."));
        QTRY_VERIFY_WITH_TIMEOUT(!pc.usbSyncActive(), 90000);
        QVERIFY2(
            pc.usbSyncStatus().startsWith(QStringLiteral("Слияние по MTP завершено. Синхронизация завершена. "
                                                         "Добавлено записей: ")),
            qPrintable(pc.usbSyncStatus() + seen.join(QLatin1Char('\n'))));
        QCOMPARE(pc.usbSyncProgress(), 100);
        QCOMPARE(pc.syncStatus(), pc.usbSyncStatus());
        QVERIFY2(seen.contains(QStringLiteral("10 Ожидание подтверждения телефона для активного сеанса…")),
                 qPrintable(seen.join(QLatin1Char('\n'))));
        QVERIFY2(seen.contains(QStringLiteral("85 Слияние баз и файлов на компьютере…")),
                 qPrintable(seen.join(QLatin1Char('\n'))));
        // The event loop of the waits above may already have seen the phone leave.
        const bool phoneDone =
            phoneProcess.state() == QProcess::NotRunning || phoneProcess.waitForFinished(60000);
        const QString phoneOutput = QString::fromUtf8(phoneProcess.readAllStandardOutput());
        QVERIFY2(phoneDone, qPrintable(phoneOutput));
        QCOMPARE(phoneProcess.exitCode(), 0);
        QVERIFY2(phoneOutput.contains(QStringLiteral("result: ok|Слияние по MTP завершено. ")),
                 qPrintable(phoneOutput));

        // The master both had keeps the date each side gave it.
        const auto ours = m_pc.contents({QStringLiteral("CreatedAt")});
        const auto theirs = phone.contents({QStringLiteral("CreatedAt")});
        QCOMPARE(ours.keys(), theirs.keys());
        for (auto it = ours.cbegin(); it != ours.cend(); ++it)
            QVERIFY2(it.value() == theirs.value(it.key()), qPrintable(it.key()));
        QCOMPARE(ours.value(QStringLiteral("db/CalibrationDB.db/Calibrations")).size(), 6);
        QCOMPARE(boxFiles(box.path(), QStringLiteral("*")), QStringList());
        // The form shows what came with the merge.
        QCOMPARE(pc.masters().size(), 3);
    }

    // Stale, future and foreign host markers are passed over: no PC is found and no join is written.
    void phoneSkipsHostsThatDoNotCount()
    {
        QTemporaryDir box;
        const QString stale = idAt(-301000);
        const QString ahead = idAt(180000);
        const QString foreign = idAt(0);
        put(box.path(), QStringLiteral("Host_%1.txt").arg(stale),
            QStringLiteral("TACHORIA_MTP_HOST|") + stale);
        put(box.path(), QStringLiteral("Host_%1.txt").arg(ahead),
            QStringLiteral("TACHORIA_MTP_HOST|") + ahead);
        put(box.path(), QStringLiteral("Host_%1.txt").arg(foreign),
            QStringLiteral("TACHORIA_MTP_HOST|") + stale);
        std::atomic<bool> cancel{false};
        auto result = start(false, box.path(), cancel);
        QTRY_VERIFY_WITH_TIMEOUT(done(result), 20000);
        QCOMPARE(result.get().message,
                 QStringLiteral("Компьютер не объявил активный сеанс. Запустите синхронизацию на ПК."));
        QCOMPARE(boxFiles(box.path(), QStringLiteral("Join_*")), QStringList());
        QCOMPARE(boxFiles(box.path(), QStringLiteral("Request_*")).size(), 1); // dropped first, left in place
    }

    void pcRefusesAForeignJoin_data()
    {
        QTest::addColumn<QString>("join"); // %1 is the PC's host id
        QTest::newRow("another mark") << QStringLiteral("TACHORIA_MTP_HOST|%1|") + idAt(0);
        QTest::newRow("another host")
            << QStringLiteral("TACHORIA_MTP_JOIN|") + idAt(-1000) + QLatin1Char('|') + idAt(0);
        QTest::newRow("no phone id") << QStringLiteral("TACHORIA_MTP_JOIN|%1|телефон");
    }

    void pcRefusesAForeignJoin()
    {
        QFETCH(QString, join);
        QTemporaryDir box;
        std::atomic<bool> cancel{false};
        auto result = start(true, box.path(), cancel);
        QTRY_COMPARE_WITH_TIMEOUT(boxFiles(box.path(), QStringLiteral("Host_*")).size(), 1, 20000);
        const QString host = boxFiles(box.path(), QStringLiteral("Host_*")).first().mid(5, 52);
        put(box.path(), QStringLiteral("Join_%1.txt").arg(host),
            join.contains(QLatin1String("%1")) ? join.arg(host) : join);
        QTRY_VERIFY_WITH_TIMEOUT(done(result), 20000);
        QCOMPARE(result.get().message,
                 QStringLiteral("Телефон прислал некорректное подтверждение MTP-сеанса."));
        QCOMPARE(boxFiles(box.path(), QStringLiteral("*")), QStringList()); // its markers go with it
    }

    void answersThatDoNotCount_data()
    {
        QTest::addColumn<bool>("isPc");
        QTest::addColumn<QString>("answer");
        QTest::addColumn<QString>("message");
        QTest::newRow("the PC could not merge")
            << false << u"ERROR|база занята"_s << u"Компьютер не смог объединить данные: база занята"_s;
        QTest::newRow("a result of no known kind")
            << false << u"ГОТОВО"_s << u"Компьютер прислал некорректный результат MTP-синхронизации."_s;
        QTest::newRow("a result without the package")
            << false << u"OK|1|0|x"_s << u"Компьютер не передал объединённую базу."_s;
        QTest::newRow("the phone sent no package")
            << true << u"не пакет"_s << u"Файл не является пакетом Tachoria."_s;
    }

    // The other side answers, but nothing is to be merged: this side fails with the text and keeps
    // its data; a PC that cannot merge tells the phone so.
    void answersThatDoNotCount()
    {
        QFETCH(bool, isPc);
        QFETCH(QString, answer);
        QFETCH(QString, message);
        QTemporaryDir box;
        const QByteArray before = m_pc.dataHash();
        std::atomic<bool> cancel{false};
        QString host = UsbSyncSession::makeSessionId();
        QString phone = UsbSyncSession::makeSessionId();
        if (!isPc)
            put(box.path(), QStringLiteral("Host_%1.txt").arg(host),
                QStringLiteral("TACHORIA_MTP_HOST|") + host);
        auto result = start(isPc, box.path(), cancel);
        if (isPc) {
            QTRY_COMPARE_WITH_TIMEOUT(boxFiles(box.path(), QStringLiteral("Host_*")).size(), 1, 20000);
            host = boxFiles(box.path(), QStringLiteral("Host_*")).first().mid(5, 52);
            put(box.path(), QStringLiteral("Request_%1.tsync").arg(phone), answer);
            put(box.path(), QStringLiteral("Join_%1.txt").arg(host),
                QStringLiteral("TACHORIA_MTP_JOIN|%1|%2").arg(host, phone));
        } else {
            QTRY_COMPARE_WITH_TIMEOUT(boxFiles(box.path(), QStringLiteral("Join_*")).size(), 1, 20000);
            phone = boxFiles(box.path(), QStringLiteral("Request_*")).first().mid(8, 52);
            put(box.path(), QStringLiteral("Result_%1.txt").arg(phone), answer);
        }
        QTRY_VERIFY_WITH_TIMEOUT(done(result), 20000);
        QCOMPARE(result.get().message, message);
        QCOMPARE(m_pc.dataHash(), before);
        if (isPc) {
            QFile told(box.filePath(QStringLiteral("TachoriaSyncMTP/Result_%1.txt").arg(phone)));
            QVERIFY(told.open(QIODevice::ReadOnly));
            QCOMPARE(QString::fromUtf8(told.readAll()), QStringLiteral("ERROR|") + message);
        } else {
            QCOMPARE(boxFiles(box.path(), QStringLiteral("Ack_*")), QStringList());
        }
    }

    void interruptions_data()
    {
        QTest::addColumn<bool>("isPc");
        QTest::addColumn<QString>("action");
        QTest::addColumn<QString>("message");
        QTest::newRow("PC cancelled while waiting") << true << u"cancel"_s << u"Синхронизация отменена"_s;
        QTest::newRow("phone cancelled while hunting") << false << u"cancel"_s << u"Синхронизация отменена"_s;
        QTest::newRow("phone gone after joining")
            << true << u"vanish"_s << u"Не удалось просмотреть папку на телефоне"_s;
    }

    // The session ends with the text and this side's data stays as it was.
    void interruptions()
    {
        QFETCH(bool, isPc);
        QFETCH(QString, action);
        QFETCH(QString, message);
        QTemporaryDir box;
        const QByteArray before = m_pc.dataHash();
        std::atomic<bool> cancel{false};
        auto result = start(isPc, box.path(), cancel);
        const QString marker = isPc ? QStringLiteral("Host_*") : QStringLiteral("Request_*");
        QTRY_COMPARE_WITH_TIMEOUT(boxFiles(box.path(), marker).size(), 1, 20000);
        if (action == QLatin1String("cancel")) {
            cancel = true;
        } else {
            const QString host = boxFiles(box.path(), marker).first().mid(5, 52);
            put(box.path(), QStringLiteral("Join_%1.txt").arg(host),
                QStringLiteral("TACHORIA_MTP_JOIN|%1|%2").arg(host, UsbSyncSession::makeSessionId()));
            QTRY_VERIFY_WITH_TIMEOUT(reported(QStringLiteral("Сеанс подтверждён; ожидание пакета телефона…")),
                                     20000);
            QVERIFY(QDir(box.path()).removeRecursively());
        }
        QTRY_VERIFY_WITH_TIMEOUT(done(result), 20000);
        QCOMPARE(result.get().message, message);
        QCOMPARE(m_pc.dataHash(), before);
        QCOMPARE(boxFiles(box.path(), QStringLiteral("Join_*")), QStringList());
    }

    void libmtpFindsNoPhoneHere()
    {
        MtpSyncTransport transport(1000);
        QStringList reports;
        QString error;
        std::atomic<bool> cancel{false};
        QVERIFY(!transport.open(
            cancel, [&reports](const QString& text) { reports.append(text); }, &error));
        QVERIFY2(error.startsWith(QStringLiteral("Не удалось открыть телефон через MTP: libmtp пока не")),
                 qPrintable(error));
        QCOMPARE(reports.value(0), QStringLiteral("Ожидание телефона в режиме «Передача файлов (MTP)»…"));
        QStringList names;
        QVERIFY(!transport.listFiles(&names, &error));
        QCOMPARE(error, QStringLiteral("MTP-папка синхронизации не открыта"));
        QCOMPARE(MtpSyncTransport::requestFileForExchangeFile(QStringLiteral("Ack_20240506_x.txt")),
                 QStringLiteral("Request_20240506_x.tsync"));
        QCOMPARE(MtpSyncTransport::requestFileForExchangeFile(QStringLiteral("Host_x.txt")), QString());
    }
};

QTEST_MAIN(TestUsbSync)
#include "test_usb_sync.moc"
