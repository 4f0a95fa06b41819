#include "calibration_memory.h"

#include <QDateTime>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

namespace tachoria::sim {

namespace {

QByteArray be(quint32 value, int bytes)
{
    QByteArray out;
    for (int shift = (bytes - 1) * 8; shift >= 0; shift -= 8)
        out.append(static_cast<char>((value >> shift) & 0xFF));
    return out;
}

QByteArray padded(const QByteArray& text, int width)
{
    return text.leftJustified(width, ' ', true);
}

QString didKey(quint16 did)
{
    return QStringLiteral("%1").arg(did, 4, 16, QLatin1Char('0')).toUpper();
}

} // namespace

CalibrationMemory CalibrationMemory::factoryDefaults()
{
    CalibrationMemory memory;
    auto set = [&memory](quint16 did, const QByteArray& bytes) { memory.setValue(did, bytes); };
    const auto verified =
        static_cast<quint32>(QDateTime(QDate(2025, 1, 15), QTime(9, 30), Qt::UTC).toSecsSinceEpoch());

    // Values a workshop would find in a unit calibrated last year; all pass the program's own checks.
    // The clock (0xF90B) is not stored: it reads the host's time, shifted by what was last written.
    set(0xF18B, "20250115");
    set(0xF192, "47.9160000-2");
    set(0xF18A, QByteArray(1, '\0') + "SIMULATED VU");
    set(0xF18C, "2505001800001234");
    set(0xF916, QByteArray(3, '\0') + "RUD0000000000001");
    set(0xFD0A, "e1-0123");
    set(0xF195, "02.05.0189");
    set(0xF193, "HW 1.0");
    set(0xF19A, be(0, 2));
    set(0xFD03, be(verified, 4));
    set(0xF190, "XTA210990Y1234567");
    set(0xF97D, "RUS");
    set(0xF97E, QByteArray(1, '\x05') + padded("A123BC77", 13));
    set(0xF918, be(8000, 2));
    set(0xF91D, be(8000, 2));
    set(0xF91C, be(3200 * 8, 2));
    set(0xF921, padded("315/80R22.5", 15));
    set(0xF92C, be(90 * 256, 2));
    set(0xF922, QByteArray::fromHex("013C2A")); // 15 January 2027
    set(0xF912, be(123456 * 200 + 100, 4));
    set(0xF91E, be(8, 2));
    set(0xFD01, QByteArray::fromHex("010200"));
    set(0xFD02, QByteArray::fromHex("000200"));
    set(0xFD08, QByteArray::fromHex("01010000"));
    set(0xFD09, QByteArray::fromHex("00000000"));
    set(0xFD0C, QByteArray(17, '\0'));
    set(0xF920, QByteArray::fromHex("01"));
    set(0xFD14, QByteArray::fromHex("00"));
    set(0xF90F, QByteArray::fromHex("06"));
    set(0xFD13, QByteArray::fromHex("06"));
    set(0xFD05, QByteArray::fromHex("00011F40"));
    set(0xFD06, QByteArray::fromHex("00011F40"));
    set(0xFD07, QByteArray::fromHex("00001F40"));
    set(0xFD0B, be(255, 2) + be(270, 2) + be(525, 2) + be(540, 2) + be(15, 2) + be(45, 2) + be(540, 2));
    set(0xFD0F, QByteArray::fromHex("01"));
    set(0xFD10, QByteArray::fromHex("0100"));
    set(0xFD11, QByteArray::fromHex("01"));
    set(0xF103, QByteArray::fromHex("02"));
    return memory;
}

bool CalibrationMemory::load(const QString& path, QString* error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = QStringLiteral("%1: %2").arg(path, file.errorString());
        return false;
    }
    QJsonParseError parseError{};
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &parseError);
    if (!document.isObject()) {
        if (error)
            *error = QStringLiteral("%1: not a calibration state (%2)").arg(path, parseError.errorString());
        return false;
    }
    const QJsonObject values = document.object().value(QStringLiteral("values")).toObject();
    for (auto it = values.begin(); it != values.end(); ++it) {
        bool ok = false;
        const quint16 did = static_cast<quint16>(it.key().toUInt(&ok, 16));
        if (ok)
            m_values.insert(did, QByteArray::fromHex(it.value().toString().toLatin1()));
    }
    m_writeLog.clear();
    for (const QJsonValue& item : document.object().value(QStringLiteral("writes")).toArray())
        m_writeLog.append(static_cast<quint16>(item.toString().toUInt(nullptr, 16)));
    return true;
}

bool CalibrationMemory::save(const QString& path, QString* error) const
{
    QJsonObject values;
    for (auto it = m_values.begin(); it != m_values.end(); ++it)
        values.insert(didKey(it.key()), QString::fromLatin1(it.value().toHex().toUpper()));
    QJsonArray writes;
    for (quint16 did : m_writeLog)
        writes.append(didKey(did));
    QJsonObject root;
    root.insert(QStringLiteral("values"), values);
    root.insert(QStringLiteral("writes"), writes);

    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(QJsonDocument(root).toJson()) < 0 || !file.commit()) {
        if (error)
            *error = QStringLiteral("%1: %2").arg(path, file.errorString());
        return false;
    }
    return true;
}

} // namespace tachoria::sim
