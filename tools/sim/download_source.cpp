#include "download_source.h"

#include <QDateTime>
#include <QTimeZone>

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
    QByteArray out;
    for (int shift = 24; shift >= 0; shift -= 8)
        out.append(static_cast<char>((value >> shift) & 0xFF));
    return out;
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

} // namespace tachoria::sim
