// The firmware transfer against the simulated unit's loader, request by request: what goes on the wire
// in which session, the erase reports and their faults, the blocks at their addresses, the two-stage
// restart with its CRC, StopCommunication exactly after a transfer that failed before the restart, and
// the wait for the restarted unit's version.
#include "../support/simulator_process.h"
#include "firmware/firmware_verification.h"
#include "firmware/tachograph_firmware_workflow.h"
#include "tools/sim/firmware_model.h"

#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

using tachoria::firmware::FirmwareVersionVerification;
using tachoria::firmware::TachographFirmwareWorkflow;
using tachoria::firmware::VerificationResult;
using tachoria::test::SimulatorProcess;
using Stage = TachographFirmwareWorkflow::ProgressStage;

namespace {

QStringList words(const char* text)
{
    return QString::fromUtf8(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

// Runs the transfer on a thread of its own, as the program does, while this one keeps reading what
// the simulator logs (a full pipe would stop it).
template <typename Work>
bool runBeside(Work work)
{
    std::atomic_bool done{false};
    std::unique_ptr<QThread> thread(QThread::create([&] {
        work();
        done = true;
    }));
    thread->start();
    const bool finished = QTest::qWaitFor([&done] { return bool(done); }, 120000);
    thread->wait();
    return finished;
}

QByteArray randomImage(int size)
{
    QByteArray image(size, Qt::Uninitialized);
    QRandomGenerator generator(42);
    for (char& byte : image)
        byte = char(generator.bounded(256));
    return image;
}

// The services the unit received, as SID and the first data bytes, e.g. "3D 24 00 60 08 00".
QStringList requestHeads(SimulatorProcess& simulator)
{
    QStringList heads;
    for (const QByteArray& request : simulator.receivedRequests())
        heads << QString::fromLatin1(request.left(request.at(0) == 0x3D ? 6 : 4).toHex(' ').toUpper());
    return heads;
}

} // namespace

class TestFirmwareWorkflow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void handshakeCrc()
    {
        QCOMPARE(TachographFirmwareWorkflow::calcFirmwareHandshakeCrc(0x11223344, 0x55667788), 0x3712888Eu);
        // The unit checks it with a loader of its own: both must agree on any words.
        QRandomGenerator generator(7);
        for (int i = 0; i < 100; ++i) {
            const quint32 word1 = generator.generate();
            const quint32 word2 = generator.generate();
            QCOMPARE(TachographFirmwareWorkflow::calcFirmwareHandshakeCrc(word1, word2),
                     tachoria::sim::FirmwareModel::handshakeCrc(word1, word2));
        }
    }

    void directTransport_data()
    {
        QTest::addColumn<QString>("port");
        QTest::addColumn<bool>("direct");
        QTest::newRow("com7") << "com7" << true;
        QTest::newRow("COM7 with a blank") << "COM7 " << true;
        QTest::newRow("a bridge") << "tcp://192.168.0.10:5000" << false;
        QTest::newRow("a phone's USB") << "usb://1a86:7523" << false;
        QTest::newRow("Bluetooth") << "/dev/rfcomm0" << false;
    }

    void directTransport()
    {
        QFETCH(QString, port);
        QTEST(TachographFirmwareWorkflow::isDirectTransport(port), "direct");
    }

    // What was refused before the port was touched leaves the unit as it was.
    void refusedBeforeTheWire_data()
    {
        QTest::addColumn<int>("imageBytes");
        QTest::addColumn<QString>("port"); // LINK: the simulator's own
        QTest::addColumn<int>("baud");
        QTest::addColumn<QString>("error");
        QTest::newRow("one byte short")
            << 671743 << "LINK" << 115200
            << "Неверный размер файла прошивки: 671743 байт; требуется ровно 671744 байт";
        QTest::newRow("one byte over")
            << 671745 << "LINK" << 115200
            << "Неверный размер файла прошивки: 671745 байт; требуется ровно 671744 байт";
        QTest::newRow("through a bridge") << 671744 << "tcp://127.0.0.1:5000" << 115200
                                          << "Обновление разрешено только через прямой COM/USB VCOM-порт";
        QTest::newRow("no speed") << 671744 << "LINK" << 0
                                  << "Не задана корректная скорость COM/USB VCOM-порта";
    }

    void refusedBeforeTheWire()
    {
        QFETCH(int, imageBytes);
        QFETCH(QString, port);
        QFETCH(int, baud);
        SimulatorProcess simulator({QStringLiteral("--verbose")});
        QString error;
        QVERIFY2(simulator.start(&error), qPrintable(error));
        bool written = true;
        QVERIFY(runBeside([&] {
            written = TachographFirmwareWorkflow::writeImage(port == QLatin1String("LINK") ? simulator.link()
                                                                                           : port,
                                                             baud, randomImage(imageBytes), {}, &error);
        }));
        QVERIFY(!written);
        QTEST(error, "error");
        QVERIFY(simulator.receivedRequests().isEmpty());
    }

    void transfer_data()
    {
        QTest::addColumn<QStringList>("simulator");
        QTest::addColumn<QString>("error");  // a prefix of the result's text; empty: success
        QTest::addColumn<int>("blocks");     // WriteMemoryByAddress requests sent
        QTest::addColumn<bool>("erased");    // the erase request went out
        QTest::addColumn<bool>("resetSent"); // the restart's first stage went out
        QTest::addColumn<bool>("stopSent");  // StopCommunication followed
        const QString order =
            QStringLiteral("Нарушен порядок пакетов очистки SPI Flash: получен сектор %1 после 5");
        const QString block3 = QStringLiteral("TACHOGRAPH NEGATIVE RESPONSE: SID=0X3D NRC=0X72");
        QTest::newRow("a whole image") << QStringList{} << QString() << 328 << true << true << false;
        QTest::newRow("an erase report out of order")
            << words("--erase-fault order:10") << order.arg(12) << 0 << true << false << true;
        QTest::newRow("an erase report left out")
            << words("--erase-fault missing:10") << order.arg(15) << 0 << true << false << true;
        QTest::newRow("a block refused")
            << words("--refuse-firmware-block 2") << block3 << 3 << true << false << true;
        QTest::newRow("a block and StopCommunication refused")
            << words("--refuse-firmware-block 2 --refuse-service 82")
            << block3 + QStringLiteral("; StopCommunication: TACHOGRAPH NEGATIVE RESPONSE: SID=0X82 NRC=0X22")
            << 3 << true << false << true;
        QTest::newRow("the programming session refused")
            << words("--refuse-session 85") << "TACHOGRAPH NEGATIVE RESPONSE: SID=0X10 NRC=0X12" << 0 << false
            << false << true;
        QTest::newRow("the restart's first stage refused")
            << words("--refuse-reset 1") << "Некорректный ответ первой стадии сброса (SID=0X7F; DATA=C7 22)"
            << 328 << true << true << false;
        QTest::newRow("the restart's second stage refused")
            << words("--refuse-reset 2")
            << "Тахограф не подтвердил вторую стадию сброса (SID=0X7F; DATA=C7 22)" << 328 << true << true
            << false;
    }

    void transfer()
    {
        QFETCH(QStringList, simulator);
        QFETCH(QString, error);
        QFETCH(int, blocks);
        QTemporaryDir folder;
        const QString saved = folder.filePath(QStringLiteral("received.bin"));
        SimulatorProcess unit(simulator + QStringList{QStringLiteral("--verbose"),
                                                      QStringLiteral("--no-pace"),
                                                      QStringLiteral("--firmware-image"), saved});
        QString reason;
        QVERIFY2(unit.start(&reason), qPrintable(reason));
        const QByteArray image = randomImage(TachographFirmwareWorkflow::kImageBytes);
        QList<std::tuple<Stage, int, int>> progress;
        bool written = false;
        QVERIFY(runBeside([&] {
            written = TachographFirmwareWorkflow::writeImage(
                unit.link(), 115200, image,
                [&progress](Stage stage, int current, int total) {
                    progress.append({stage, current, total});
                },
                &reason);
        }));
        QCOMPARE(written, error.isEmpty());
        QVERIFY2(error.isEmpty() ? reason.isEmpty() : reason.startsWith(error), qPrintable(reason));
        QVERIFY(error.isEmpty() || !reason.isEmpty());

        const QStringList heads = requestHeads(unit);
        QCOMPARE(heads.value(0), QStringLiteral("81"));
        QCOMPARE(heads.value(1), QStringLiteral("10 85"));
        QTEST(heads.contains(QStringLiteral("C7 10 53")), "erased");
        QTEST(heads.contains(QStringLiteral("C7 10 52 01")), "resetSent");
        // A unit still busy with its reports reads StopCommunication only after them.
        QFETCH(bool, stopSent);
        if (stopSent)
            QTRY_VERIFY(requestHeads(unit).contains(QStringLiteral("82")));
        else
            QVERIFY(!heads.contains(QStringLiteral("82")));
        QStringList addresses;
        for (const QString& head : heads) {
            if (head.startsWith(QLatin1String("3D")))
                addresses << head.mid(6, 11);
        }
        QCOMPARE(addresses.size(), blocks);
        for (int block = 0; block < blocks; ++block)
            QCOMPARE(
                addresses.at(block),
                QString::fromLatin1(QByteArray::number(TachographFirmwareWorkflow::blockAddress(block), 16)
                                        .rightJustified(8, '0')
                                        .toUpper())
                    .replace(QRegularExpression(QStringLiteral("(..)(?!$)")), QStringLiteral("\\1 ")));
        if (!error.isEmpty())
            return;
        // The whole image arrived as it was sent; the erase reported 0, 5 ... 255, then every block.
        QFile received(saved);
        QVERIFY(received.open(QIODevice::ReadOnly));
        QVERIFY(received.readAll() == image);
        QCOMPARE(heads.last(), QStringLiteral("C7 10 52 02"));
        QCOMPARE(progress.size(), 52 + 328);
        QCOMPARE(progress.first(), std::make_tuple(Stage::Erasing, 1, 256));
        QCOMPARE(progress.at(1), std::make_tuple(Stage::Erasing, 6, 256));
        QCOMPARE(progress.at(51), std::make_tuple(Stage::Erasing, 256, 256));
        QCOMPARE(progress.at(52), std::make_tuple(Stage::Writing, 1, 328));
        QCOMPARE(progress.last(), std::make_tuple(Stage::Writing, 328, 328));
    }

    // A report that never comes ends the erase after the loader's 10 s.
    void eraseStalls()
    {
        SimulatorProcess unit(
            {QStringLiteral("--verbose"), QStringLiteral("--erase-fault"), QStringLiteral("stall:5")});
        QString reason;
        QVERIFY2(unit.start(&reason), qPrintable(reason));
        bool written = true;
        QVERIFY(runBeside([&] {
            written = TachographFirmwareWorkflow::writeImage(
                unit.link(), 115200, randomImage(TachographFirmwareWorkflow::kImageBytes), {}, &reason);
        }));
        QVERIFY(!written);
        QVERIFY2(reason.startsWith(
                     QStringLiteral("Не получен прогресс очистки SPI Flash после сектора 6 из 256: ")),
                 qPrintable(reason));
        QVERIFY(requestHeads(unit).contains(QStringLiteral("82")));
    }

    // The restarted unit: quiet for a while, then it answers 0x16 with the version it now has.
    void verification_data()
    {
        QTest::addColumn<QStringList>("simulator");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<bool>("matched");
        QTest::addColumn<bool>("versionMatched");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("status");
        QTest::newRow("the new version")
            << words("--software 02060000") << "02060000" << true << true << ""
            << "Обновление прошло успешно. Версия ПО тахографа 02060000 совпадает с "
               "актуальной версией на сайте.";
        QTest::newRow("no version to compare")
            << QStringList{} << "" << true << false << ""
            << "Тахограф ответил на 0x16; его версия ПО 02050189. Не удалось сверить "
               "её с версией на сайте, поэтому обновление не подтверждено.";
        QTest::newRow("the old version to the end")
            << QStringList{} << "02060000" << true << false
            << "ответ получен; версия тахографа 02050189, ожидается 02060000"
            << "За 200 секунд тахограф отвечал на 0x16, но версия ПО не совпала: установлена 02050189, на "
               "сайте "
               "02060000. Tachoria не может подтвердить успешное обновление.";
        QTest::newRow("no answer")
            << words("--silent") << "02060000" << false << false << "read: "
            << "Не удалось получить корректный ответ на 0x16 за 200 секунд. Tachoria не может "
               "подтвердить обновление. Проверьте питание и подключение тахографа.";
    }

    void verification()
    {
        QFETCH(QStringList, simulator);
        QFETCH(QString, expected);
        QFETCH(QString, message);
        SimulatorProcess unit(simulator);
        QString reason;
        QVERIFY2(unit.start(&reason), qPrintable(reason));
        // Shorter than a real restart needs; the shipped limits are 200 s and 5 s.
        QCOMPARE(FirmwareVersionVerification::kTotalLimitMs, 200000);
        QCOMPARE(FirmwareVersionVerification::kAttemptIntervalMs, 5000);
        FirmwareVersionVerification::setLimitsForTest(2500, 300);
        const std::atomic_bool stop{false};
        const VerificationResult result =
            FirmwareVersionVerification::run(unit.link(), 115200, expected, &stop);
        FirmwareVersionVerification::setLimitsForTest(FirmwareVersionVerification::kTotalLimitMs,
                                                      FirmwareVersionVerification::kAttemptIntervalMs);
        QTEST(result.matched, "matched");
        QTEST(result.versionMatched, "versionMatched");
        QVERIFY2(message.isEmpty() ? result.message.isEmpty() : result.message.startsWith(message),
                 qPrintable(result.message));
        // An answer that settles it ends the wait at once; anything else goes on to the limit.
        QCOMPARE(result.attempts == 1, result.versionMatched || (result.matched && expected.isEmpty()));
        QTEST(tachoria::firmware::describeVerification(result, expected).status, "status");
    }
};

QTEST_GUILESS_MAIN(TestFirmwareWorkflow)
#include "test_firmware_workflow.moc"
