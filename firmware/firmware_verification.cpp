#include "firmware/firmware_verification.h"

#include "logging/application_logger.h"

#include <QElapsedTimer>
#include <QThread>

namespace tachoria::firmware {

namespace {

std::atomic_int g_totalLimitMs{FirmwareVersionVerification::kTotalLimitMs};
std::atomic_int g_attemptIntervalMs{FirmwareVersionVerification::kAttemptIntervalMs};
constexpr int kStopCheckMs = 25;

} // namespace

VerificationOutcome describeVerification(const VerificationResult& result, const QString& expectedVersion)
{
    VerificationOutcome outcome;
    const QString expected = expectedVersion.trimmed().toUpper();
    const QString version = result.info.softwareVersion.trimmed().toUpper();
    const QString shown = version.isEmpty() ? QStringLiteral("не определена") : version;
    if (!result.matched) {
        outcome.status =
            QStringLiteral("Не удалось получить корректный ответ на 0x16 за 200 секунд. Tachoria не может "
                           "подтвердить обновление. Проверьте питание и подключение тахографа.");
        outcome.level = logging::Level::Error;
        outcome.record =
            QStringLiteral("Не получен корректный ответ на 0x16 за 200 секунд; attempts=%1; последнее "
                           "сообщение: %2")
                .arg(result.attempts)
                .arg(result.message);
    } else if (expected.isEmpty()) {
        outcome.status =
            QStringLiteral("Тахограф ответил на 0x16; его версия ПО %1. Не удалось сверить её с версией на "
                           "сайте, поэтому обновление не подтверждено.")
                .arg(shown);
        outcome.level = logging::Level::Warning;
        outcome.record =
            QStringLiteral(
                "Ответ 0x16 получен, но актуальная версия с сайта недоступна; tachographVersion=%1")
                .arg(shown);
    } else if (result.versionMatched) {
        outcome.confirmed = true;
        outcome.status =
            QStringLiteral("Обновление прошло успешно. Версия ПО тахографа %1 совпадает с актуальной "
                           "версией на сайте.")
                .arg(shown);
        outcome.record =
            QStringLiteral("Обновление подтверждено: ответ 0x16 с совпавшей версией; attempts=%1; "
                           "tachographVersion=%2; siteVersion=%3")
                .arg(result.attempts)
                .arg(shown, expected);
    } else {
        outcome.status =
            QStringLiteral("За 200 секунд тахограф отвечал на 0x16, но версия ПО не совпала: установлена %1, "
                           "на сайте %2. Tachoria не может подтвердить успешное обновление.")
                .arg(shown, expected);
        outcome.level = logging::Level::Error;
        outcome.record = QStringLiteral("Версия не совпала за 200 секунд: attempts=%1; tachographVersion=%2; "
                                        "siteVersion=%3")
                             .arg(result.attempts)
                             .arg(shown, expected);
    }
    return outcome;
}

void FirmwareVersionVerification::setLimitsForTest(int totalLimitMs, int attemptIntervalMs)
{
    g_totalLimitMs = totalLimitMs;
    g_attemptIntervalMs = attemptIntervalMs;
}

VerificationResult FirmwareVersionVerification::run(const QString& port, int baud,
                                                    const QString& expectedVersion,
                                                    const std::atomic_bool* stop)
{
    VerificationResult result;
    const QString expected = expectedVersion.trimmed().toUpper();
    QElapsedTimer elapsed;
    elapsed.start();
    while (!(stop && *stop) && elapsed.elapsed() < g_totalLimitMs) {
        ++result.attempts;
        const protocol::DownloadDeviceInfo info =
            protocol::DownloadDeviceDetector::probe(port, baud, stop, -1, protocol::kIdentifyResponseSid);
        if (!info.matched) {
            result.message = info.diagnostic;
        } else {
            result.matched = true;
            result.info = info;
            const QString version = info.softwareVersion.trimmed().toUpper();
            result.versionMatched =
                !expected.isEmpty() && version.compare(expected, Qt::CaseInsensitive) == 0;
            if (expected.isEmpty() || result.versionMatched) {
                result.message.clear();
                break;
            }
            result.message =
                QStringLiteral("ответ получен; версия тахографа %1, ожидается %2")
                    .arg(version.isEmpty() ? QStringLiteral("не определена") : version, expected);
        }
        if (result.attempts == 1 || result.attempts % 10 == 0)
            logging::ApplicationLogger::write(
                logging::Level::Info, QStringLiteral("firmware.update"),
                QStringLiteral("Ожидание ответа 0x16 после перезагрузки: попытка %1; %2")
                    .arg(result.attempts)
                    .arg(result.message.isEmpty() ? QStringLiteral("ответ ещё не получен") : result.message),
                port);
        for (int waited = 0; waited < g_attemptIntervalMs && !(stop && *stop); waited += kStopCheckMs)
            QThread::msleep(kStopCheckMs);
    }
    result.stopped = stop && *stop;
    return result;
}

} // namespace tachoria::firmware
