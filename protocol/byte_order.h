#pragma once

#include <QByteArray>
#include <QString>

namespace tachoria::protocol {

// Multi-byte values on the tachograph link and on cards are big-endian.
inline QByteArray bigEndianBytes(quint32 value, int size)
{
    QByteArray out;
    for (int shift = (size - 1) * 8; shift >= 0; shift -= 8)
        out.append(static_cast<char>((value >> shift) & 0xFF));
    return out;
}

// The caller makes sure the bytes hold offset + size.
inline quint32 readBigEndian(const QByteArray& bytes, qsizetype offset, int size)
{
    quint32 value = 0;
    for (int i = 0; i < size; ++i)
        value = (value << 8) | static_cast<quint8>(bytes.at(offset + i));
    return value;
}

// A number as zero-filled hexadecimal digits, as the messages of the link show codes.
inline QString hexDigits(quint32 value, int digits, bool upperCase)
{
    const QString text = QStringLiteral("%1").arg(value, digits, 16, QLatin1Char('0'));
    return upperCase ? text.toUpper() : text;
}

} // namespace tachoria::protocol
