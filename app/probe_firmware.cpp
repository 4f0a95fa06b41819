// The console probe of a firmware transfer: the same checks, the transfer and the wait for the new
// version that the window runs, for a shop's bench scripts.
#include "app/probes.h"
#include "firmware/firmware_verification.h"
#include "firmware/tachograph_firmware_workflow.h"
#include "logging/application_logger.h"

#include <QFile>
#include <QTextStream>

namespace tachoria::app {

namespace {

constexpr int kFirmwareProbeFailed = 7;

} // namespace

int runFirmwareProbe(const CommandLine& commandLine)
{
    using firmware::TachographFirmwareWorkflow;
    const QString port = commandLine.value(QStringLiteral("--probe-firmware"));
    const QStringList& arguments = commandLine.arguments();
    const qsizetype portAt = arguments.indexOf(QStringLiteral("--probe-firmware"));
    const QString imagePath = arguments.value(portAt + 2);
    const int baud = commandLine.number(QStringLiteral("--baud"), 115200);
    const QString expected = commandLine.value(QStringLiteral("--expect-version")).trimmed().toUpper();

    QTextStream out(stdout);
    const auto line = [&out](const QString& key, const QString& value) {
        out << key << '=' << value << '\n';
        out.flush();
    };
    const auto finish = [&](bool success, const QString& version, const QString& error) {
        out << "firmware_success=" << (success ? "true" : "false") << " version=" << version
            << " error=" << error << '\n';
        out.flush();
        return success ? 0 : kFirmwareProbeFailed;
    };

    QFile file(imagePath);
    if (imagePath.isEmpty() || imagePath.startsWith(QLatin1String("--")) || !file.open(QIODevice::ReadOnly))
        return finish(false, {}, QStringLiteral("Не удалось прочитать файл прошивки: %1").arg(imagePath));
    const QByteArray image = file.readAll();
    if (image.size() != TachographFirmwareWorkflow::kImageBytes)
        return finish(
            false, {},
            QStringLiteral("Размер прошивки — %1 байт; ожидается ровно 671744 байта. Тахограф не затронут.")
                .arg(image.size()));
    if (!TachographFirmwareWorkflow::isDirectTransport(port))
        return finish(false, {},
                      QStringLiteral("Прямое COM/USB VCOM-подключение потеряно. Передача не начата."));

    line(QStringLiteral("status"), QStringLiteral("Ожидание подтверждения очистки SPI Flash..."));
    QString error;
    int lastPercent = -1;
    const bool written = TachographFirmwareWorkflow::writeImage(
        port, baud, image,
        [&](TachographFirmwareWorkflow::ProgressStage stage, int current, int total) {
            const bool erasing = stage == TachographFirmwareWorkflow::ProgressStage::Erasing;
            const double progress = erasing ? 0.5 * current / total : 0.5 + 0.5 * current / total;
            // One line per percent: a bench script reads them, a person watches them.
            if (int(progress * 100) != lastPercent || current == total) {
                lastPercent = int(progress * 100);
                line(QStringLiteral("status"),
                     erasing ? QStringLiteral("Очистка SPI Flash: сектор %1 из %2").arg(current).arg(total)
                             : QStringLiteral("Запись прошивки: блок %1 из %2").arg(current).arg(total));
                line(QStringLiteral("progress"), QString::number(progress, 'f', 3));
            }
        },
        &error);
    if (!written)
        return finish(false, {}, error);

    line(QStringLiteral("status"),
         QStringLiteral(
             "Перезагрузка подтверждена. Ожидаю ответ 0x16 и появления установленной версии ПО..."));
    const std::atomic_bool stop{false};
    const firmware::VerificationResult result =
        firmware::FirmwareVersionVerification::run(port, baud, expected, &stop);
    const firmware::VerificationOutcome outcome = firmware::describeVerification(result, expected);
    logging::ApplicationLogger::write(outcome.level, QStringLiteral("firmware.update"), outcome.record, port);
    line(QStringLiteral("status"), outcome.status);
    return finish(outcome.confirmed, result.info.softwareVersion.trimmed().toUpper(),
                  outcome.confirmed ? QString() : outcome.status);
}

} // namespace tachoria::app
