#include "download_source.h"

#include "protocol/byte_order.h"

#include <QDateTime>
#include <QTimeZone>

#include <algorithm>

namespace tachoria::sim {

namespace {

QByteArray filled(int size, quint8 seed)
{
    QByteArray bytes(size, '\0');
    for (int i = 0; i < size; ++i)
        bytes[i] = static_cast<char>((seed + i * 7) & 0xFF);
    return bytes;
}

QByteArray be32(quint32 value)
{
    return protocol::bigEndianBytes(value, 4);
}

} // namespace

QByteArray BuiltInDownloadSource::overview() const
{
    // Two certificates of 194 bytes, then the VIN, the nation, the code page and the registration.
    QByteArray block = filled(388, 0x11);
    block += m_vin.leftJustified(17, ' ', true);
    block += QByteArray::fromHex("4A");
    block += QByteArray(1, '\x01');
    block += m_registration.leftJustified(13, ' ', true);
    block += filled(60, 0x22);
    return block;
}

QByteArray BuiltInDownloadSource::activities(const QDate& day) const
{
    const auto seconds =
        static_cast<quint32>(QDateTime(day, QTime(0, 0), QTimeZone::utc()).toSecsSinceEpoch());
    return be32(seconds) + filled(300, static_cast<quint8>(day.day()));
}

QByteArray BuiltInDownloadSource::eventsAndFaults() const
{
    return filled(180, 0x33);
}

QByteArray BuiltInDownloadSource::detailedSpeed() const
{
    return filled(m_speedBytes, 0x44);
}

QByteArray BuiltInDownloadSource::technicalData() const
{
    return filled(420, 0x55);
}

QByteArray BuiltInDownloadSource::cryptoCertificate() const
{
    return filled(194, 0x66);
}

QByteArray BuiltInDownloadSource::authorityCertificate() const
{
    return filled(194, 0x77);
}

QByteArray BuiltInDownloadSource::cryptoData(const QDate& begin, const QDate& end) const
{
    // The module's serial lies 74 bytes in, behind its header.
    QByteArray block = filled(74, 0x88);
    block += m_skziSerial.leftJustified(16, ' ', true);
    block += be32(static_cast<quint32>(begin.toJulianDay())) + be32(static_cast<quint32>(end.toJulianDay()));
    block += filled(100, 0x99);
    return block;
}

QByteArray BuiltInDownloadSource::archiveBlock(int index) const
{
    return be32(static_cast<quint32>(index)) + filled(200, static_cast<quint8>(index));
}

GeneratedDownloadSource::GeneratedDownloadSource(const QByteArray& vin, const QByteArray& registration,
                                                 QByteArray skziSerial, const QDateTime& now, int speedBytes)
    : BuiltInDownloadSource(vin, registration.mid(1), std::move(skziSerial), speedBytes)
    , m_unit(dddgen::sampleVehicleUnit(kHistoryDays, now.date().addDays(1 - kHistoryDays)))
{
    m_unit.vin = QString::fromLatin1(vin).trimmed();
    // The memory keeps its registration behind the code-page byte.
    m_unit.registration = dddgen::decodeCyrillic(registration.mid(1));
    for (dddgen::Calibration& calibration : m_unit.calibrations) {
        calibration.vin = m_unit.vin;
        calibration.registration = m_unit.registration;
    }
    // The unit is read now, not at the end of the sample's last day.
    m_unit.currentTime = now;
    m_unit.downloadableTo = now;
    m_unit.downloadTime = now;
    // A minute of speed takes 64 bytes; the size asked for decides how many minutes there are.
    constexpr int kMinuteBytes = 64;
    constexpr int kFrameBytes = 2 + 128; // the count in front, the signature behind
    const int minutes = std::max(1, (speedBytes - kFrameBytes) / kMinuteBytes);
    const QDateTime start = now.date().startOfDay(QTimeZone::utc()).addSecs(7 * 3600);
    m_unit.speed.clear();
    for (int minute = 0; minute < minutes; ++minute) {
        dddgen::SpeedBlock block;
        block.begin = start.addSecs(60LL * minute);
        for (int second = 0; second < 60; ++second)
            block.speeds.append(40 + (minute + second) % 50);
        m_unit.speed.append(block);
    }
}

QByteArray GeneratedDownloadSource::overview() const
{
    return dddgen::vehicleUnitBlock(m_unit, 0x01);
}

QByteArray GeneratedDownloadSource::activities(const QDate& day) const
{
    return dddgen::vehicleUnitBlock(m_unit, 0x02, day);
}

QByteArray GeneratedDownloadSource::eventsAndFaults() const
{
    return dddgen::vehicleUnitBlock(m_unit, 0x03);
}

QByteArray GeneratedDownloadSource::detailedSpeed() const
{
    return dddgen::vehicleUnitBlock(m_unit, 0x04);
}

QByteArray GeneratedDownloadSource::technicalData() const
{
    return dddgen::vehicleUnitBlock(m_unit, 0x05);
}

} // namespace tachoria::sim
