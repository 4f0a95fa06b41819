#include "ddd/ddd_fields.h"

#include <QHash>
#include <QStringList>
#include <QTimeZone>

#include <cstdio>

namespace tachoria::ddd {

using namespace Qt::StringLiterals;

quint8 byteAt(const QByteArray& bytes, qsizetype position)
{
    return position >= 0 && position < bytes.size() ? static_cast<quint8>(bytes.at(position)) : 0;
}

bool fits(const QByteArray& bytes, qsizetype position, qsizetype length)
{
    return position >= 0 && length >= 0 && position <= bytes.size() && length <= bytes.size() - position;
}

quint32 readBe32(const QByteArray& bytes, qsizetype position)
{
    if (!fits(bytes, position, 4))
        return 0;
    return (quint32(byteAt(bytes, position)) << 24) | (quint32(byteAt(bytes, position + 1)) << 16) |
           (quint32(byteAt(bytes, position + 2)) << 8) | byteAt(bytes, position + 3);
}

quint32 readLe32(const QByteArray& bytes, qsizetype position)
{
    if (!fits(bytes, position, 4))
        return 0;
    return (quint32(byteAt(bytes, position + 3)) << 24) | (quint32(byteAt(bytes, position + 2)) << 16) |
           (quint32(byteAt(bytes, position + 1)) << 8) | byteAt(bytes, position);
}

quint32 readBe24(const QByteArray& bytes, qsizetype position)
{
    if (!fits(bytes, position, 3))
        return 0;
    return (quint32(byteAt(bytes, position)) << 16) | (quint32(byteAt(bytes, position + 1)) << 8) |
           byteAt(bytes, position + 2);
}

quint16 readBe16(const QByteArray& bytes, qsizetype position)
{
    if (!fits(bytes, position, 2))
        return 0;
    return static_cast<quint16>((byteAt(bytes, position) << 8) | byteAt(bytes, position + 1));
}

quint16 readLe16(const QByteArray& bytes, qsizetype position)
{
    if (!fits(bytes, position, 2))
        return 0;
    return static_cast<quint16>((byteAt(bytes, position + 1) << 8) | byteAt(bytes, position));
}

QString hexText(const QByteArray& bytes, qsizetype position, qsizetype length)
{
    if (position < 0 || position >= bytes.size() || length <= 0)
        return QString();
    return upperHex(QByteArrayView(bytes).sliced(position, std::min(length, bytes.size() - position)));
}

QString upperHex(QByteArrayView bytes)
{
    static constexpr char16_t kDigits[] = u"0123456789ABCDEF";
    QString text(bytes.size() * 2, Qt::Uninitialized);
    char16_t* out = reinterpret_cast<char16_t*>(text.data());
    for (const char c : bytes) {
        const auto byte = static_cast<quint8>(c);
        *out++ = kDigits[byte >> 4];
        *out++ = kDigits[byte & 0x0F];
    }
    return text;
}

namespace {

// The part of [position, position + length) that lies inside the bytes.
QByteArrayView clamp(const QByteArray& bytes, qsizetype position, qsizetype length)
{
    if (position < 0 || position >= bytes.size() || length <= 0)
        return {};
    return QByteArrayView(bytes).sliced(position, std::min(length, bytes.size() - position));
}

} // namespace

QString readFixedText(const QByteArray& bytes, qsizetype position, qsizetype length)
{
    if (length < 1 || !fits(bytes, position, length))
        return QString();
    QString text(length, QLatin1Char(' '));
    for (qsizetype i = 0; i < length; ++i) {
        const quint8 byte = byteAt(bytes, position + i);
        text[i] = (byte == 0x00 || byte == 0x05) ? QLatin1Char(' ') : QLatin1Char(char(byte));
    }
    return text.trimmed();
}

QString readAsciiWithReplacement(const QByteArray& bytes, qsizetype position, qsizetype length)
{
    QString text;
    text.reserve(std::max<qsizetype>(length, 0));
    for (const char c : clamp(bytes, position, length)) {
        const auto byte = static_cast<quint8>(c);
        if (byte == 0x00)
            continue;
        text += (byte >= 32 && byte <= 126) ? QLatin1Char(char(byte)) : QLatin1Char('?');
    }
    return text.trimmed();
}

QString readCalibrationText(const QByteArray& bytes, qsizetype position, qsizetype length)
{
    QString text;
    text.reserve(std::max<qsizetype>(length, 0));
    for (const char c : clamp(bytes, position, length)) {
        const auto byte = static_cast<quint8>(c);
        if (byte < 33)
            text += QLatin1Char(' ');
        else if (byte < 128)
            text += QLatin1Char(char(byte));
        else if (byte == 0xA1)
            text += QChar(0x0401);
        else if (byte >= 0xB0 && byte <= 0xEF)
            text += QChar(byte + 864);
        else if (byte >= 0xF0)
            text += QChar(byte + 848); // one off the published table; files written so are read so
        else
            text += QLatin1Char('?');
    }
    return text.simplified();
}

QString readWindows1251Text(const QByteArray& bytes, qsizetype position, qsizetype length)
{
    QString text;
    text.reserve(std::max<qsizetype>(length, 0));
    for (const char c : clamp(bytes, position, length)) {
        const auto byte = static_cast<quint8>(c);
        if (byte == 0x00 || byte == 0x20)
            text += QLatin1Char(' ');
        else if (byte < 128)
            text += QLatin1Char(char(byte));
        else if (byte == 0xA8)
            text += QChar(0x0401);
        else if (byte == 0xB8)
            text += QChar(0x0451);
        else if (byte > 0xBF)
            text += QChar(byte + 848);
        else
            text += QLatin1Char('?');
    }
    return text;
}

QString printableText(const QByteArray& bytes, qsizetype position, qsizetype length)
{
    QString text;
    text.reserve(std::max<qsizetype>(length, 0));
    for (const char c : clamp(bytes, position, length)) {
        const auto byte = static_cast<quint8>(c);
        if (byte >= 32 && byte <= 126)
            text += QLatin1Char(char(byte));
    }
    return text.trimmed();
}

QString readCodePageText(const QByteArray& bytes, int codePage, qsizetype position, qsizetype length)
{
    QByteArrayView span = clamp(bytes, position, length);
    while (!span.isEmpty() && (span.back() == ' ' || span.back() == '\0' || span.back() == '\xFF'))
        span.chop(1);
    QString text;
    text.reserve(span.size());
    for (const char c : span) {
        const char16_t character = codePageCharacter(codePage, static_cast<quint8>(c));
        text += character == 0 ? QChar(u' ') : QChar(character);
    }
    return text.simplified();
}

QString readName(const QByteArray& bytes, qsizetype position, qsizetype length)
{
    return readCodePageText(bytes, byteAt(bytes, position), position + 1, length - 1);
}

QDate readBcdDate(const QByteArray& bytes, qsizetype position)
{
    if (!fits(bytes, position, 4))
        return QDate();
    int digits[8];
    for (int i = 0; i < 8; ++i) {
        const quint8 byte = byteAt(bytes, position + i / 2);
        digits[i] = i % 2 == 0 ? byte >> 4 : byte & 0x0F;
        if (digits[i] > 9)
            return QDate();
    }
    const auto number = [&digits](int from, int count) {
        int value = 0;
        for (int i = from; i < from + count; ++i)
            value = value * 10 + digits[i];
        return value;
    };
    return QDate(number(0, 4), number(4, 2), number(6, 2));
}

QVariantMap makeRow(std::initializer_list<std::pair<QString, QVariant>> entries)
{
    std::map<QString, QVariant> map;
    for (const auto& [key, value] : entries)
        map.insert_or_assign(map.end(), key, value);
    return QVariantMap(std::move(map));
}

namespace {

QString minutesText(int minutes)
{
    char text[24];
    std::snprintf(text, sizeof text, "%02d:%02d", minutes / 60, minutes % 60);
    return QString::fromLatin1(text);
}

} // namespace

QString formatMinutes(int minutes)
{
    minutes = std::max(minutes, 0);
    // The minutes of a day are made once and then shared: every activity change of a file has one.
    static const QStringList day = [] {
        QStringList texts;
        texts.reserve(1440);
        for (int minute = 0; minute < 1440; ++minute)
            texts.append(minutesText(minute));
        return texts;
    }();
    return minutes < 1440 ? day.at(minutes) : minutesText(minutes);
}

QString hexCode(int code)
{
    return u"%1"_s.arg(code, 2, 16, QLatin1Char('0')).toUpper();
}

QString countryName(int nation)
{
    // NationNumeric of the tachograph regulation, in its order; 187 is this system's old name of Russia.
    static const QStringList names = {
        u"Нет данных"_s,
        u"Австрия"_s,
        u"Албания"_s,
        u"Андорра"_s,
        u"Армения"_s,
        u"Азербайджан"_s,
        u"Бельгия"_s,
        u"Болгария"_s,
        u"Босния и Герцеговина"_s,
        u"Беларусь"_s,
        u"Швейцария"_s,
        u"Кипр"_s,
        u"Чехия"_s,
        u"Германия"_s,
        u"Дания"_s,
        u"Испания"_s,
        u"Эстония"_s,
        u"Франция"_s,
        u"Финляндия"_s,
        u"Лихтенштейн"_s,
        u"Фарерские острова"_s,
        u"Великобритания"_s,
        u"Грузия"_s,
        u"Греция"_s,
        u"Венгрия"_s,
        u"Хорватия"_s,
        u"Италия"_s,
        u"Ирландия"_s,
        u"Исландия"_s,
        u"Казахстан"_s,
        u"Люксембург"_s,
        u"Литва"_s,
        u"Латвия"_s,
        u"Мальта"_s,
        u"Монако"_s,
        u"Молдова"_s,
        u"Северная Македония"_s,
        u"Норвегия"_s,
        u"Нидерланды"_s,
        u"Португалия"_s,
        u"Польша"_s,
        u"Румыния"_s,
        u"Сан-Марино"_s,
        u"Российская Федерация"_s,
        u"Швеция"_s,
        u"Словакия"_s,
        u"Словения"_s,
        u"Туркменистан"_s,
        u"Турция"_s,
        u"Украина"_s,
        u"Ватикан"_s,
        u"Югославия"_s,
        u"Черногория"_s,
        u"Сербия"_s,
        u"Узбекистан"_s,
        u"Таджикистан"_s,
    };
    if (nation >= 0 && nation < names.size())
        return names.at(nation);
    switch (nation) {
    case 187:
        return u"Российская Федерация"_s;
    case 0xFD:
        return u"Европейское сообщество"_s;
    case 0xFE:
        return u"Остальная Европа"_s;
    case 0xFF:
        return u"Остальной мир"_s;
    default:
        return u"0x%1"_s.arg(hexCode(nation)).toUpper();
    }
}

QString cardTypeName(int type)
{
    switch (type) {
    case 0:
        return u"Reserved"_s;
    case 1:
        return u"Driver Card"_s;
    case 2:
        return u"Tachoria Card"_s;
    case 3:
        return u"Control Card"_s;
    case 4:
        return u"Company Card"_s;
    case 5:
        return u"Manufacturing Card"_s;
    default:
        return u"Unknown type"_s;
    }
}

QString cardSlotStatusName(int status)
{
    return status == 0 ? u"No card inserted"_s : cardTypeName(status);
}

QString eventName(int code)
{
    static const QHash<int, QString> names = {
        {0, u"Общее событие: без дополнительных сведений"_s},
        {1, u"Вставка недействительной карты"_s},
        {2, u"Конфликт карт"_s},
        {3, u"Общее событие: перекрытие времени"_s},
        {4, u"Движение без соответствующей карты"_s},
        {5, u"Вставка карты во время движения"_s},
        {6, u"Сессия карты завершена некорректно"_s},
        {7, u"Превышение скорости"_s},
        {8, u"Прерывание питания"_s},
        {9, u"Ошибка данных движения"_s},
        {10, u"Конфликт движения транспортного средства"_s},
        {16, u"Попытка нарушения безопасности VU: без дополнительных сведений"_s},
        {17, u"Ошибка аутентификации датчика движения"_s},
        {18, u"Ошибка аутентификации карты тахографа"_s},
        {19, u"Несанкционированная замена датчика движения"_s},
        {20, u"Ошибка целостности данных карты"_s},
        {21, u"Ошибка целостности пользовательских данных"_s},
        {22, u"Ошибка внутренней передачи данных"_s},
        {23, u"Попытка несанкционированного вскрытия"_s},
        {24, u"Аппаратное вмешательство"_s},
        {32, u"Попытка нарушения безопасности датчика: без дополнительных сведений"_s},
        {33, u"Ошибка аутентификации датчика"_s},
        {34, u"Ошибка целостности данных датчика"_s},
        {35, u"Ошибка внутренней передачи данных датчика"_s},
        {36, u"Несанкционированное вскрытие датчика"_s},
        {37, u"Аппаратное вмешательство в датчик"_s},
    };
    if (names.contains(code))
        return names.value(code);
    if (code >= 128)
        return u"Событие производителя (0x%1)"_s.arg(hexCode(code)).toUpper();
    return u"Неизвестное событие (0x%1)"_s.arg(hexCode(code)).toUpper();
}

QString faultName(int code)
{
    static const QStringList list = {
        u"Нет неисправности"_s,
        u"Неисправность загрузки"_s,
        u"Неисправность датчика"_s,
        u"Неисправность печати"_s,
        u"Неисправность дисплея"_s,
        u"Неисправность питания"_s,
        u"Неисправность памяти"_s,
        u"Неисправность датчика скорости"_s,
        u"Неисправность считывателя карты"_s,
        u"Внутренняя неисправность VU"_s,
        u"Неисправность часов"_s,
        u"Ошибка калибровки"_s,
        u"Другая неисправность"_s,
    };
    if (code == 0)
        return u"Нет неисправности"_s;
    if (code == 52)
        return u"Неисправность оборудования записи: ошибка загрузки"_s;
    if (code >= 53 && code <= 62)
        return u"Неисправность тахографа: %1"_s.arg(list.at(code - 51));
    if (code == 63 || code == 81)
        return u"Зарезервировано для будущего использования"_s;
    if (code == 64)
        return u"Неисправность карты: без дополнительных сведений"_s;
    return u"Неизвестная неисправность (0x%1)"_s.arg(hexCode(code)).toUpper();
}

namespace {

constexpr qint64 kFirstSecondOf2000 = 946684800;
constexpr qint64 kLastSecondOf2100 = 4133980799;
constexpr qint64 kZoneMargin = 15 * 3600; // no zone is further than this from UTC
static_assert(0xF0000000u < kLastSecondOf2100);

QDateTime utcSeconds(quint32 value)
{
    return QDateTime::fromSecsSinceEpoch(qint64(value), Qt::UTC);
}

bool inYears(const QDateTime& moment, int first, int last)
{
    const int year = moment.date().year();
    return moment.isValid() && year >= first && year <= last;
}

char16_t* putTwoDigits(char16_t* out, int value)
{
    *out++ = char16_t(u'0' + value / 10);
    *out++ = char16_t(u'0' + value % 10);
    return out;
}

// The formats the readers write, without parsing a format text on every call.
QString formatMoment(const QDateTime& moment, const QString& format)
{
    static const QString dateAndTime = u"dd.MM.yyyy HH:mm:ss"_s;
    static const QString dateAndShortHour = u"dd.MM.yyyy H:mm:ss"_s;
    static const QString dateOnly = u"dd.MM.yyyy"_s;
    const QDate date = moment.date();
    const int year = date.year();
    if (year < 1000 || year > 9999 ||
        (format != dateAndTime && format != dateAndShortHour && format != dateOnly))
        return moment.toString(format);
    // Digits written straight into the text: thousands of time stamps go through here.
    char16_t text[20];
    char16_t* out = putTwoDigits(text, date.day());
    *out++ = u'.';
    out = putTwoDigits(out, date.month());
    *out++ = u'.';
    out = putTwoDigits(putTwoDigits(out, year / 100), year % 100);
    if (format != dateOnly) {
        const QTime time = moment.time();
        *out++ = u' ';
        if (format == dateAndTime || time.hour() > 9)
            out = putTwoDigits(out, time.hour());
        else
            *out++ = char16_t(u'0' + time.hour());
        *out++ = u':';
        out = putTwoDigits(out, time.minute());
        *out++ = u':';
        out = putTwoDigits(out, time.second());
    }
    return QString(reinterpret_cast<const QChar*>(text), out - text);
}

QString formatChecked(quint32 value, bool toLocal, int firstYear, const QString& format)
{
    if (value == 0 || value > 0xF0000000u)
        return QString();
    const QDateTime moment =
        toLocal ? QDateTime::fromSecsSinceEpoch(qint64(value), Qt::LocalTime) : utcSeconds(value);
    if (!inYears(moment, firstYear, 2100))
        return QString();
    return formatMoment(moment, format);
}

} // namespace

QString formatUnix(quint32 value, bool toLocal)
{
    return formatChecked(value, toLocal, 2000, u"dd.MM.yyyy HH:mm:ss"_s);
}

QString formatUnixCSharp(quint32 value, bool toLocal)
{
    return formatChecked(value, toLocal, 1970, u"dd.MM.yyyy H:mm:ss"_s);
}

QDateTime vuDateTime(const QByteArray& bytes, qsizetype position)
{
    if (!fits(bytes, position, 4))
        return QDateTime();
    // The standard's order is big-endian; a unit that wrote little-endian shows as a big-endian reading
    // in the future, and only then, or when the big-endian reading is no time at all, does the other
    // order count. Values far outside the years 2000 to 2100 are ruled out before any date is made.
    const qint64 bigValue = readBe32(bytes, position);
    const bool bigPlausible = bigValue >= kFirstSecondOf2000 && bigValue <= kLastSecondOf2100;
    if (bigPlausible && bigValue <= QDateTime::currentSecsSinceEpoch() + 86400)
        return utcSeconds(quint32(bigValue));
    const qint64 littleValue = readLe32(bytes, position);
    if (littleValue >= kFirstSecondOf2000 - kZoneMargin && littleValue <= kLastSecondOf2100 + kZoneMargin) {
        const QDateTime little = QDateTime::fromSecsSinceEpoch(littleValue, Qt::LocalTime);
        if (inYears(little, 2000, 2100))
            return little;
    }
    return bigPlausible ? utcSeconds(quint32(bigValue)) : QDateTime();
}

QString vuTime(const QByteArray& bytes, qsizetype position)
{
    const QDateTime moment = vuDateTime(bytes, position);
    return moment.isValid() ? formatMoment(moment, u"dd.MM.yyyy H:mm:ss"_s)
                            : QString::fromLatin1(kFailedVuTime);
}

QString formatUnixUniversalCSharp(const QByteArray& bytes, qsizetype position, const QString& format)
{
    const QDateTime moment = vuDateTime(bytes, position);
    return moment.isValid() ? formatMoment(moment, format) : QString();
}

QString vuBeTime(const QByteArray& bytes, qsizetype position, const QString& format)
{
    if (!fits(bytes, position, 4))
        return QString::fromLatin1(kFailedVuTime);
    // formatUnix's rule in UTC, as a range of seconds: not 0, not above 0xF0000000, from 2000 on (the
    // upper bound lies before 2100).
    const auto plausible = [](quint32 value) { return value >= kFirstSecondOf2000 && value <= 0xF0000000u; };
    quint32 value = readBe32(bytes, position);
    if (!plausible(value))
        value = readLe32(bytes, position);
    if (!plausible(value))
        return QString::fromLatin1(kFailedVuTime);
    return formatMoment(utcSeconds(value), format);
}

QDateTime parseReportTime(const QString& text)
{
    // "dd.MM.yyyy", "dd.MM.yyyy H:mm:ss" or "dd.MM.yyyy HH:mm:ss", read by hand: the sorting of the
    // closing steps reads thousands of these.
    const auto number = [&text](qsizetype from, qsizetype count, bool* ok) {
        int value = 0;
        for (qsizetype i = from; i < from + count; ++i) {
            const char16_t c = text.at(i).unicode();
            if (c < u'0' || c > u'9') {
                *ok = false;
                return 0;
            }
            value = value * 10 + (c - u'0');
        }
        return value;
    };
    const qsizetype size = text.size();
    if (size < 10 || text.at(2) != u'.' || text.at(5) != u'.')
        return QDateTime();
    bool ok = true;
    const QDate date(number(6, 4, &ok), number(3, 2, &ok), number(0, 2, &ok));
    if (!ok || !date.isValid())
        return QDateTime();
    if (size == 10)
        return QDateTime(date, QTime(0, 0), Qt::UTC);
    if (size != 18 && size != 19)
        return QDateTime();
    const qsizetype hourDigits = size - 17;
    if (text.at(10) != u' ' || text.at(11 + hourDigits) != u':' || text.at(14 + hourDigits) != u':')
        return QDateTime();
    const QTime time(number(11, hourDigits, &ok), number(12 + hourDigits, 2, &ok),
                     number(15 + hourDigits, 2, &ok));
    if (!ok || !time.isValid())
        return QDateTime();
    return QDateTime(date, time, Qt::UTC);
}

} // namespace tachoria::ddd
