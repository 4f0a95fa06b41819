#pragma once

// Byte readers, time formats and code tables shared by the vehicle-unit and the card parsers. Every
// reader is bounds-checked: out of range gives an empty or zero result, never a read past the end.

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QVariantMap>

#include <initializer_list>
#include <map>
#include <utility>

namespace tachoria::ddd {

quint8 byteAt(const QByteArray& bytes, qsizetype position); // 0 when out of range
bool fits(const QByteArray& bytes, qsizetype position, qsizetype length);
quint32 readBe32(const QByteArray& bytes, qsizetype position);
quint32 readLe32(const QByteArray& bytes, qsizetype position);
quint32 readBe24(const QByteArray& bytes, qsizetype position);
quint16 readBe16(const QByteArray& bytes, qsizetype position);
quint16 readLe16(const QByteArray& bytes, qsizetype position);
QString hexText(const QByteArray& bytes, qsizetype position, qsizetype length); // upper case
QString upperHex(QByteArrayView bytes);

QString readFixedText(const QByteArray& bytes, qsizetype position, qsizetype length);
QString readAsciiWithReplacement(const QByteArray& bytes, qsizetype position, qsizetype length);
QString readCalibrationText(const QByteArray& bytes, qsizetype position, qsizetype length);
QString readWindows1251Text(const QByteArray& bytes, qsizetype position, qsizetype length);
QString printableText(const QByteArray& bytes, qsizetype position, qsizetype length);

// A character of ISO/IEC 8859 part `codePage` (1 to 16); 0 for control characters, for bytes the part
// leaves undefined and for the upper half of an unknown part.
char16_t codePageCharacter(int codePage, quint8 byte);
// Text in a code page: padding (blanks, 0x00, 0xFF) and control characters never reach it; simplified.
QString readCodePageText(const QByteArray& bytes, int codePage, qsizetype position, qsizetype length);
// A name of the standard: the code-page byte, then `length` - 1 bytes of text in that code page.
QString readName(const QByteArray& bytes, qsizetype position, qsizetype length);
// A date in BCD, century and year, month, day; invalid when the bytes hold none.
QDate readBcdDate(const QByteArray& bytes, qsizetype position);

QString formatMinutes(int minutes);
QString hexCode(int code); // two upper-case digits, zero-filled

QString countryName(int nation);
QString cardTypeName(int type);
QString cardSlotStatusName(int status);
QString eventName(int code);
QString faultName(int code);

// The time readers of the vehicle-unit sections; which one a field uses is part of its format.
QString formatUnix(quint32 value, bool toLocal = false);
QString formatUnixCSharp(quint32 value, bool toLocal = false);
QDateTime vuDateTime(const QByteArray& bytes, qsizetype position); // invalid when neither order fits
QString vuTime(const QByteArray& bytes, qsizetype position);
QString formatUnixUniversalCSharp(const QByteArray& bytes, qsizetype position, const QString& format);
QString vuBeTime(const QByteArray& bytes, qsizetype position, const QString& format);
QDateTime parseReportTime(const QString& text); // the formats the parsers write, or invalid

// A row built in one go; keys given in ascending order are placed without searching.
QVariantMap makeRow(std::initializer_list<std::pair<QString, QVariant>> entries);

inline constexpr char kFailedVuTime[] = "01.01.0001 0:00:00";

} // namespace tachoria::ddd
