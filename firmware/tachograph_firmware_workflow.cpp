#include "firmware/tachograph_firmware_workflow.h"

#include "logging/application_logger.h"
#include "protocol/byte_order.h"
#include "protocol/serial_port_catalog.h"

#include <QRandomGenerator>

#include <algorithm>

namespace tachoria::firmware {

using logging::Level;
using protocol::ServiceFrame;
using protocol::TachographClient;

const QByteArray TachographFirmwareWorkflow::kSilentUpdateFlag = QByteArray::fromHex("A4C29B36");

namespace {

const QString kCategory = QStringLiteral("firmware.update");

void journal(Level level, const QString& text, const QString& port)
{
    logging::ApplicationLogger::write(level, kCategory, text, port);
}

void setError(QString* error, const QString& text)
{
    if (error)
        *error = text;
}

QString hex8(quint32 value)
{
    return protocol::hexDigits(value, 8, true);
}

QString frameText(const ServiceFrame& frame, const char* dataName)
{
    return QStringLiteral("SID=0x%1; %2=%3")
        .arg(QStringLiteral("%1").arg(frame.sid, 2, 16, QLatin1Char('0')), QLatin1String(dataName),
             QString::fromLatin1(frame.data.toHex(' ')))
        .toUpper();
}

} // namespace

bool TachographFirmwareWorkflow::isDirectTransport(const QString& port)
{
    return protocol::SerialPortCatalog::isDirectTransport(port.trimmed());
}

quint32 TachographFirmwareWorkflow::calcFirmwareHandshakeCrc(quint32 word1, quint32 word2)
{
    // CRC-32, polynomial 0x04C11DB7, start 0xFFFFFFFF, most significant bit first, neither reflected
    // nor inverted at the end, over both words' bytes in little-endian order.
    quint8 input[8];
    for (int i = 0; i < 4; ++i) {
        input[i] = quint8(word1 >> (8 * i));
        input[4 + i] = quint8(word2 >> (8 * i));
    }
    quint32 crc = 0xFFFFFFFF;
    for (const quint8 byte : input) {
        crc ^= quint32(byte) << 24;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 0x80000000u) ? (crc << 1) ^ 0x04C11DB7u : crc << 1;
    }
    return crc;
}

bool TachographFirmwareWorkflow::eraseSpi(TachographClient& client, const QString& port,
                                          const Progress& progress, QString* error)
{
    journal(Level::Info,
            QStringLiteral(
                "Запрос очистки SPI Flash: SID_NV=0xC7; CMD_START_ERASE_SPI=0x1053; ожидается 256 секторов"),
            port);
    ServiceFrame request;
    request.sid = kSidNv;
    request.data = QByteArray::fromHex("1053");
    QString reason;
    if (!client.transport().writeService(request, &reason)) {
        setError(error, QStringLiteral("Не удалось отправить команду очистки SPI Flash: %1").arg(reason));
        return false;
    }
    int lastSector = -1;
    while (lastSector != kSectorCount - 1) {
        ServiceFrame report;
        // Many reports answer the one request, so they are read from the transport itself.
        if (!client.transport().readService(report, kSpiEraseProgressTimeoutMs, &reason, nullptr)) {
            setError(error, QStringLiteral("Не получен прогресс очистки SPI Flash после сектора %1 из %2: %3")
                                .arg(lastSector + 1)
                                .arg(kSectorCount)
                                .arg(reason));
            return false;
        }
        const bool wellFormed = report.target == protocol::kProgramAddress &&
                                report.source == protocol::kTachographAddress &&
                                report.sid == kSidNvPositive && report.data.size() == 3 &&
                                report.data.startsWith(QByteArray::fromHex("1053"));
        if (!wellFormed) {
            const QString text =
                QStringLiteral("Некорректный ответ очистки SPI Flash (%1)").arg(frameText(report, "payload"));
            journal(Level::Error, text, port);
            setError(error, text);
            return false;
        }
        const int sector = quint8(report.data.at(2));
        const int expected = lastSector < 0 ? 0 : std::min(kSectorCount - 1, lastSector + 5);
        if (sector != expected || sector % 5 != 0) {
            const QString text =
                QStringLiteral("Нарушен порядок пакетов очистки SPI Flash: получен сектор %1 после %2")
                    .arg(sector)
                    .arg(lastSector);
            journal(Level::Error, text, port);
            setError(error, text);
            return false;
        }
        lastSector = sector;
        journal(Level::Info,
                QStringLiteral("Очистка SPI Flash: получено подтверждение сектора %1 из %2 (%3%)")
                    .arg(sector + 1)
                    .arg(kSectorCount)
                    .arg((sector + 1) * 100 / kSectorCount),
                port);
        if (progress)
            progress(ProgressStage::Erasing, sector + 1, kSectorCount);
    }
    journal(Level::Info, QStringLiteral("Очистка SPI Flash подтверждена: все 256 секторов обработаны"), port);
    if (error)
        error->clear();
    return true;
}

bool TachographFirmwareWorkflow::sendFirmwareReset(TachographClient& client, const QString& port,
                                                   QString* error, quint32 word1)
{
    journal(Level::Info,
            QStringLiteral("Перезагрузка тахографа: отправка стадии 1 CMD_RESET_TACHO (0x1052); word1=0x%1")
                .arg(hex8(word1)),
            port);
    ServiceFrame response;
    QString reason;
    if (!client.requestFrame(kSidNv, QByteArray::fromHex("105201") + protocol::bigEndianBytes(word1, 4),
                             response, kResetReplyTimeoutMs, &reason)) {
        setError(error, QStringLiteral("Не удалось получить ответ первой стадии сброса: %1").arg(reason));
        return false;
    }
    if (response.sid != kResetTachoPositive || response.data.size() != 5 ||
        quint8(response.data.at(0)) != 1) {
        setError(
            error,
            QStringLiteral("Некорректный ответ первой стадии сброса (%1)").arg(frameText(response, "data")));
        return false;
    }
    const quint32 word2 = protocol::readBigEndian(response.data, 1, 4);
    const quint32 crc = calcFirmwareHandshakeCrc(word1, word2);
    journal(
        Level::Info,
        QStringLiteral("Перезагрузка тахографа: получен word2=0x%1; CRC32=0x%2").arg(hex8(word2), hex8(crc)),
        port);
    journal(Level::Info,
            QStringLiteral("Перезагрузка тахографа: отправка стадии 2; timeout=%1 с; flag=SILENT_UPDATE")
                .arg(kResetTimeoutSeconds),
            port);
    const QByteArray stage2 = QByteArray::fromHex("105202") + QByteArray(1, char(kResetTimeoutSeconds)) +
                              protocol::bigEndianBytes(crc, 4) + kSilentUpdateFlag + QByteArray(2, '\0');
    if (!client.requestFrame(kSidNv, stage2, response, kResetReplyTimeoutMs, &reason)) {
        setError(error,
                 QStringLiteral("Не удалось получить подтверждение второй стадии сброса: %1").arg(reason));
        return false;
    }
    if (response.sid != kResetTachoPositive || response.data != QByteArray(1, '\x02')) {
        setError(error, QStringLiteral("Тахограф не подтвердил вторую стадию сброса (%1)")
                            .arg(frameText(response, "data")));
        return false;
    }
    journal(Level::Info,
            QStringLiteral("Тахограф подтвердил команду тихой перезагрузки; ожидается сброс через %1 с")
                .arg(kResetTimeoutSeconds),
            port);
    if (error)
        error->clear();
    return true;
}

bool TachographFirmwareWorkflow::writeImage(const QString& port, int baud, const QByteArray& image,
                                            const Progress& progress, QString* error)
{
    journal(Level::Info,
            QStringLiteral("Начато обновление: endpoint=%1; baud=%2; imageBytes=%3")
                .arg(port)
                .arg(baud)
                .arg(image.size()),
            port);
    if (!isDirectTransport(port)) {
        setError(error, QStringLiteral("Обновление разрешено только через прямой COM/USB VCOM-порт"));
        journal(Level::Error,
                QStringLiteral("Отказ до начала обмена: транспорт не является прямым COM/USB VCOM"), port);
        return false;
    }
    if (image.size() != kImageBytes) {
        setError(error, QStringLiteral("Неверный размер файла прошивки: %1 байт; требуется ровно %2 байт")
                            .arg(image.size())
                            .arg(kImageBytes));
        return false;
    }
    if (baud < 1) {
        setError(error, QStringLiteral("Не задана корректная скорость COM/USB VCOM-порта"));
        return false;
    }

    TachographClient client;
    client.configure(port, baud, QSerialPort::EvenParity, QSerialPort::Data8, QSerialPort::OneStop);
    client.transport().setLogCategory(kCategory);
    journal(Level::Info, QStringLiteral("Подключение к порту и запуск связи с тахографом"), port);
    QString reason;
    if (!client.openAndStartCommunication(2, &reason)) {
        journal(Level::Info, QStringLiteral("Не удалось открыть порт или начать связь: %1").arg(reason),
                port);
        client.close();
        setError(error, reason);
        return false;
    }
    journal(Level::Info, QStringLiteral("Связь с тахографом установлена"), port);

    bool transferred = false;
    bool resetAttempted = false;
    [&] {
        journal(Level::Info, QStringLiteral("Запрос программной диагностической сессии 0x85"), port);
        if (!client.startDiagnosticSession(0x85, nullptr, &reason)) {
            journal(Level::Error,
                    QStringLiteral("Не удалось включить диагностическую сессию 0x85: %1").arg(reason), port);
            return;
        }
        journal(Level::Info, QStringLiteral("Диагностическая сессия 0x85 подтверждена"), port);
        if (!eraseSpi(client, port, progress, &reason)) {
            journal(
                Level::Info,
                QStringLiteral("Очистка SPI Flash не завершилась; прошивка не записывалась: %1").arg(reason),
                port);
            return;
        }
        for (int block = 0; block < kBlockCount; ++block) {
            const quint32 address = blockAddress(block);
            const QByteArray bytes = image.mid(block * kBlockBytes, kBlockBytes);
            journal(Level::Debug,
                    QStringLiteral("Передача блока %1/%2: address=0x%3; bytes=%4")
                        .arg(block + 1)
                        .arg(kBlockCount)
                        .arg(hex8(address))
                        .arg(bytes.size()),
                    port);
            if (!client.writeMemoryByAddress(kBlockBytes, address, bytes, &reason)) {
                journal(Level::Error,
                        QStringLiteral("Тахограф не подтвердил блок %1/%2 по адресу 0x%3: %4")
                            .arg(block + 1)
                            .arg(kBlockCount)
                            .arg(hex8(address), reason),
                        port);
                return;
            }
            journal(Level::Debug,
                    QStringLiteral("Блок %1/%2 подтверждён тахографом").arg(block + 1).arg(kBlockCount),
                    port);
            if (progress)
                progress(ProgressStage::Writing, block + 1, kBlockCount);
        }
        journal(Level::Info,
                QStringLiteral(
                    "Все блоки прошивки подтверждены; сразу отправляем команду перезагрузки тахографа"),
                port);
        // No StopCommunication once the reset went out: the tachograph may be restarting already.
        resetAttempted = true;
        if (!sendFirmwareReset(client, port, &reason, QRandomGenerator::system()->generate())) {
            journal(Level::Info,
                    QStringLiteral("Не удалось выполнить команду перезагрузки тахографа: %1").arg(reason),
                    port);
            return;
        }
        transferred = true;
    }();

    if (!transferred && !resetAttempted) {
        journal(Level::Info, QStringLiteral("Отправка StopCommunication после незавершённой передачи"), port);
        QString stopReason;
        if (client.stopCommunication(nullptr, &stopReason)) {
            journal(Level::Info, QStringLiteral("StopCommunication подтверждена"), port);
        } else {
            journal(Level::Error, QStringLiteral("StopCommunication не подтверждена: %1").arg(stopReason),
                    port);
            reason =
                reason.isEmpty() ? stopReason : reason + QStringLiteral("; StopCommunication: ") + stopReason;
        }
    }
    client.close();
    if (transferred) {
        if (error)
            error->clear();
        journal(Level::Info,
                QStringLiteral(
                    "Обновление завершено: %1 блоков и двухэтапная команда тихой перезагрузки подтверждены "
                    "тахографом")
                    .arg(kBlockCount),
                port);
        return true;
    }
    setError(error, reason);
    journal(Level::Error, QStringLiteral("Обновление завершилось ошибкой: %1").arg(reason), port);
    return false;
}

} // namespace tachoria::firmware
