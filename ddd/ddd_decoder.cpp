#include "ddd/ddd_decoder.h"

#include "ddd/activity_analyzer.h"
#include "ddd/ber_reader.h"
#include "ddd/ddd_fields.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QRegularExpression>
#include <QSet>
#include <QTimeZone>

#include <map>

namespace tachoria::ddd {

using namespace Qt::StringLiterals;

namespace {

QString tagText(quint8 high, quint8 low)
{
    return QStringLiteral("%1%2")
        .arg(high, 2, 16, QLatin1Char('0'))
        .arg(low, 2, 16, QLatin1Char('0'))
        .toUpper();
}

bool isVehicleUnitMarker(quint8 byte)
{
    return byte == 0x81 || (byte >= 0x01 && byte <= 0x05);
}

// The time-stamp rule of the vehicle-unit sections: not 0, below 0xF0000001, a year from 1970 to 2100.
bool plausibleTimestamp(quint32 value)
{
    if (value == 0 || value > 0xF0000000u)
        return false;
    const int year = QDateTime::fromSecsSinceEpoch(value, QTimeZone::utc()).date().year();
    return year >= 1970 && year <= 2100;
}

DddBlock rawBlock(const QByteArray& bytes, const QString& name)
{
    DddBlock block;
    block.fileNumber = QStringLiteral("RAW");
    block.name = name;
    block.occurrence = 1;
    block.offset = 0;
    block.length = static_cast<int>(bytes.size());
    block.data = bytes;
    return block;
}

const QSet<quint16> kKnownCardTags = {0x0501, 0x0502, 0x0503, 0x0504, 0x0505, 0x0506,
                                      0x0507, 0x0508, 0x050E, 0x0520, 0x0521, 0x0522};

void setCardRecordFields(DddBlock& block, quint16 tag, bool allTags)
{
    const int payload = block.length;
    block.recordCount = 0;
    block.recordLength = 0;
    if (tag == 0x0505) {
        block.recordLength = 31;
        block.recordCount = payload < 2 ? 0 : (payload - 2) / 31;
    } else if (tag == 0x0506) {
        block.recordLength = 10;
        block.recordCount = payload < 1 ? 0 : (payload - 1) / 10;
    } else if (allTags && (tag == 0x0502 || tag == 0x0503)) {
        block.recordLength = 24;
        block.recordCount = payload / 24;
    }
}

} // namespace

QString Decoder::typeName(DddFileType type)
{
    switch (type) {
    case DddFileType::DriverCard:
        return QStringLiteral("Карта водителя");
    case DddFileType::Tachograph:
        return QStringLiteral("Тахограф");
    case DddFileType::Unknown:
        break;
    }
    return QStringLiteral("Неизвестный формат");
}

DddFileType Decoder::detectType(const QByteArray& bytes)
{
    if (bytes.size() < 2)
        return DddFileType::Unknown;
    if (byteAt(bytes, 0) == 0x00 && byteAt(bytes, 1) == 0x02)
        return DddFileType::DriverCard;
    if (byteAt(bytes, 0) == 0x76 && isVehicleUnitMarker(byteAt(bytes, 1)))
        return DddFileType::Tachograph;
    return DddFileType::Unknown;
}

QString Decoder::tachographBlockName(const QString& tag)
{
    static const QHash<QString, QString> names = {
        {QStringLiteral("7681"), QStringLiteral("Основные данные тахографа")},
        {QStringLiteral("7601"), QStringLiteral("Идентификация тахографа")},
        {QStringLiteral("7602"), QStringLiteral("Данные активности")},
        {QStringLiteral("7603"), QStringLiteral("События и неисправности")},
        {QStringLiteral("7604"), QStringLiteral("Детальная скорость")},
        {QStringLiteral("7605"), QStringLiteral("Калибровка и технические данные")},
    };
    return names.value(tag, QStringLiteral("Блок DDD"));
}

QString Decoder::cardBlockName(const QString& tag)
{
    static const QHash<QString, QString> names = {
        {QStringLiteral("0002"), QStringLiteral("ICC")},
        {QStringLiteral("0005"), QStringLiteral("IC")},
        {QStringLiteral("C209"), QStringLiteral("Сертификат")},
        {QStringLiteral("0501"), QStringLiteral("Идентификация приложения")},
        {QStringLiteral("0520"), QStringLiteral("Идентификация")},
        {QStringLiteral("0521"), QStringLiteral("Водительское удостоверение")},
        {QStringLiteral("0502"), QStringLiteral("Данные событий")},
        {QStringLiteral("0503"), QStringLiteral("Данные неисправностей")},
        {QStringLiteral("0504"), QStringLiteral("Активность водителя")},
        {QStringLiteral("0505"), QStringLiteral("Использованные автомобили")},
        {QStringLiteral("0506"), QStringLiteral("Места")},
        {QStringLiteral("0508"), QStringLiteral("Контрольная активность")},
        {QStringLiteral("0522"), QStringLiteral("Особые условия")},
        {QStringLiteral("050E"), QStringLiteral("Загрузка карты")},
        {QStringLiteral("0507"), QStringLiteral("Текущее использование")},
    };
    return names.value(tag, QStringLiteral("Неизвестный блок %1").arg(tag));
}

QStringList Decoder::printableStrings(const QByteArray& bytes)
{
    QStringList strings;
    QSet<QString> seen;
    qsizetype start = -1;
    const auto close = [&](qsizetype end) {
        if (start >= 0 && end - start > 3) {
            const QString text = QString::fromLatin1(bytes.mid(start, end - start)).trimmed();
            if (!text.isEmpty() && !seen.contains(text)) {
                seen.insert(text);
                strings.append(text);
            }
        }
        start = -1;
    };
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        const quint8 byte = byteAt(bytes, i);
        if (byte >= 32 && byte <= 126) {
            if (start < 0)
                start = i;
        } else {
            close(i);
        }
    }
    close(bytes.size());
    return strings;
}

void Decoder::appendExtendedTachographBlocks(const QByteArray& bytes, QList<DddBlock>& blocks)
{
    if (bytes.size() <= 3 || byteAt(bytes, 0) != 0x76 || byteAt(bytes, 1) != 0x81)
        return;
    const auto span = [&bytes](const QString& tag, const QString& name, int occurrence, qsizetype start,
                               qsizetype length, int records, int recordLength) {
        DddBlock block;
        block.fileNumber = tag;
        block.name = name;
        block.occurrence = occurrence;
        block.offset = static_cast<int>(start);
        block.length = static_cast<int>(length);
        block.recordCount = records;
        block.recordLength = recordLength;
        block.data = bytes.mid(start, length);
        return block;
    };
    // The second generation puts an ASN.1 certificate right behind its one tag.
    qsizetype firstFree = 2;
    qsizetype position = 2;
    BerNode certificate;
    if (parseBerNode(bytes, position, bytes.size(), certificate) && position > 2 &&
        certificate.tagClass == 0 && certificate.tag == 16 && certificate.constructed) {
        const int length = static_cast<int>(position - 2);
        blocks.append(span(QStringLiteral("ASN1"), QStringLiteral("ASN.1 сертификат тахографа"), 1, 2, length,
                           1, length));
        firstFree = position;
    }
    const qsizetype extended = bytes.indexOf(QByteArray("\x76\x84", 2), firstFree);
    if (extended < 0)
        return;
    qsizetype end = bytes.indexOf(QByteArray("\x76\x85", 2), extended + 2);
    if (end < 0)
        end = bytes.size();
    if (end > extended)
        blocks.append(span(QStringLiteral("7684"), QStringLiteral("Расширенные технические данные"), 1,
                           extended, end - extended, -1, -1));
    // Records of a fixed 254 bytes, with no length of their own.
    constexpr qsizetype kRecord = 254;
    int occurrence = 0;
    for (qsizetype at = end;
         at + 4 <= bytes.size() && byteAt(bytes, at) == 0x76 && byteAt(bytes, at + 1) == 0x85;) {
        const qsizetype length = std::min(kRecord, bytes.size() - at);
        blocks.append(span(QStringLiteral("7685"), QStringLiteral("Расширенная запись тахографа"),
                           ++occurrence, at, length, 1, static_cast<int>(kRecord)));
        if (length < kRecord)
            break;
        at += kRecord;
    }
}

QList<DddBlock> Decoder::splitTachographBlocks(const QByteArray& bytes)
{
    QList<DddBlock> blocks;
    if (bytes.size() >= 2 && byteAt(bytes, 0) == 0x76 && byteAt(bytes, 1) == 0x81) {
        DddBlock block;
        block.fileNumber = QStringLiteral("7681");
        block.name = tachographBlockName(block.fileNumber);
        block.occurrence = 1;
        block.length = static_cast<int>(bytes.size());
        block.data = bytes;
        blocks.append(block);
        appendExtendedTachographBlocks(bytes, blocks);
        return blocks;
    }
    if (bytes.size() < 2 || byteAt(bytes, 0) != 0x76 || byteAt(bytes, 1) != 0x01) {
        blocks.append(rawBlock(bytes, QStringLiteral("Данные тахографа")));
        return blocks;
    }
    // There is no length field to trust: markers are searched at every position, and taken only while
    // the blocks keep their ascending order (a repeated number is allowed).
    QList<qsizetype> starts{0};
    int expected = 1;
    for (qsizetype position = 2; position + 1 < bytes.size(); ++position) {
        if (byteAt(bytes, position) != 0x76)
            continue;
        const quint8 marker = byteAt(bytes, position + 1);
        bool accepted = false;
        switch (marker) {
        case 0x02:
            if (expected < 3 && position + 6 < bytes.size()) {
                const quint32 stamp = (quint32(byteAt(bytes, position + 2)) << 24) |
                                      (quint32(byteAt(bytes, position + 3)) << 16) |
                                      (quint32(byteAt(bytes, position + 4)) << 8) |
                                      byteAt(bytes, position + 5);
                accepted = plausibleTimestamp(stamp);
                if (accepted)
                    expected = 2;
            }
            break;
        case 0x03:
        case 0x04:
        case 0x05:
            accepted = expected < marker + 1;
            if (accepted)
                expected = marker;
            break;
        case 0x81:
            accepted = expected > 4;
            if (accepted)
                expected = 6;
            break;
        default:
            break; // a second overview (0x01) is never a start
        }
        if (accepted)
            starts.append(position);
    }
    QHash<QString, int> occurrences;
    for (qsizetype i = 0; i < starts.size(); ++i) {
        const qsizetype start = starts.at(i);
        const qsizetype end = i + 1 < starts.size() ? starts.at(i + 1) : bytes.size();
        DddBlock block;
        block.fileNumber = tagText(byteAt(bytes, start), byteAt(bytes, start + 1));
        block.name = tachographBlockName(block.fileNumber);
        block.occurrence = ++occurrences[block.fileNumber];
        block.offset = static_cast<int>(start);
        block.length = static_cast<int>(end - start);
        block.data = bytes.mid(start, end - start);
        blocks.append(block);
    }
    appendExtendedTachographBlocks(bytes, blocks);
    return blocks;
}

QList<DddBlock> Decoder::splitDriverCardBlocks(const QByteArray& bytes)
{
    struct Found
    {
        qsizetype start;
        qsizetype end; // header included
        DddBlock block;
    };
    QList<Found> found;
    const auto headerAt = [&bytes](qsizetype position, quint16& tag, quint8& type, int& length) {
        if (position + 5 > bytes.size())
            return false;
        tag = static_cast<quint16>((byteAt(bytes, position) << 8) | byteAt(bytes, position + 1));
        type = byteAt(bytes, position + 2);
        length = (byteAt(bytes, position + 3) << 8) | byteAt(bytes, position + 4);
        return length >= 1 && position + 5 + length <= bytes.size();
    };
    const auto makeBlock = [&bytes](qsizetype position, quint16 tag, quint8 type, int length) {
        DddBlock block;
        block.fileNumber = tagText(static_cast<quint8>(tag >> 8), static_cast<quint8>(tag & 0xFF));
        block.name = cardBlockName(block.fileNumber);
        block.offset = static_cast<int>(position);
        block.length = length;
        block.data = bytes.mid(position + 5, length);
        block.fileType = type;
        return block;
    };

    // Pass one: a chain of headers; junk between blocks is skipped byte by byte.
    for (qsizetype position = 0; position + 5 <= bytes.size();) {
        quint16 tag = 0;
        quint8 type = 0;
        int length = 0;
        if (!headerAt(position, tag, type, length)) {
            ++position;
            continue;
        }
        DddBlock block = makeBlock(position, tag, type, length);
        setCardRecordFields(block, tag, true);
        found.append({position, position + 5 + length, block});
        position += 5 + length;
    }
    // Pass two: the known tags anywhere, unless they meet a block already found. The spans found never
    // overlap, so the one that could meet a new span is the last to start before its end: a lookup
    // instead of a walk over all, which keeps a file of thousands of tiny blocks linear.
    std::map<qsizetype, qsizetype> spans;
    for (const Found& entry : std::as_const(found))
        spans.emplace(entry.start, entry.end);
    for (qsizetype position = 0; position + 5 <= bytes.size(); ++position) {
        quint16 tag = 0;
        quint8 type = 0;
        int length = 0;
        if (!headerAt(position, tag, type, length) || !kKnownCardTags.contains(tag))
            continue;
        const qsizetype end = position + 5 + length;
        auto next = spans.lower_bound(end);
        if (next != spans.begin() && std::prev(next)->second > position)
            continue;
        DddBlock block = makeBlock(position, tag, type, length);
        setCardRecordFields(block, tag, false);
        found.append({position, end, block});
        spans.emplace(position, end);
    }

    QList<DddBlock> blocks;
    QHash<QString, int> occurrences;
    for (Found& entry : found) {
        entry.block.occurrence = ++occurrences[entry.block.fileNumber];
        blocks.append(entry.block);
    }
    if (blocks.isEmpty())
        blocks.append(rawBlock(bytes, QStringLiteral("Данные карты водителя")));
    return blocks;
}

void Decoder::buildSectionInventory(DddReport& report)
{
    DatasetRows& rows = report.sections;
    rows.clear();
    rows.reserve(report.blocks.size());
    for (const DddBlock& block : std::as_const(report.blocks)) {
        const QString hex = upperHex(block.data);
        QVariantMap row{{QStringLiteral("fileNumber"), block.fileNumber},
                        {QStringLiteral("name"), block.name},
                        {QStringLiteral("occurrence"), block.occurrence},
                        {QStringLiteral("offset"), block.offset},
                        {QStringLiteral("length"), block.length},
                        {QStringLiteral("recordCount"), block.recordCount},
                        {QStringLiteral("recordLength"), block.recordLength},
                        {QStringLiteral("blockStartPosition"), 0},
                        {QStringLiteral("fileType"), block.fileType},
                        {QStringLiteral("data"),
                         QVariantMap{{QStringLiteral("length"), block.length}, {QStringLiteral("hex"), hex}}},
                        {QStringLiteral("payloadHex"), hex}};
        if (block.recordLength > 0) {
            QVariantList records;
            for (int index = 0; (index + 1) * block.recordLength <= block.data.size(); ++index) {
                const int offset = index * block.recordLength;
                records.append(
                    QVariantMap{{QStringLiteral("index"), index},
                                {QStringLiteral("offset"), offset},
                                {QStringLiteral("length"), block.recordLength},
                                {QStringLiteral("hex"),
                                 upperHex(QByteArrayView(block.data).sliced(offset, block.recordLength))}});
            }
            row.insert(QStringLiteral("records"), records);
        }
        rows.append(std::move(row));
    }
}

QString Decoder::structureText(const DddReport& report)
{
    QString text;
    text += QStringLiteral("Файл: %1\n").arg(report.fileName);
    text += QStringLiteral("Тип: %1\n").arg(typeName(report.fileType));
    text += QStringLiteral("Размер: %1 байт\n\n").arg(report.size);
    text += QStringLiteral("Секции DDD:\n");
    for (const DddBlock& block : report.blocks) {
        text += QStringLiteral("  %1  %2, смещение %3, размер %4 байт")
                    .arg(block.fileNumber, block.name)
                    .arg(block.offset)
                    .arg(block.length);
        if (block.recordCount >= 0)
            text += QStringLiteral(", записей %1").arg(block.recordCount);
        text += QLatin1Char('\n');
    }
    if (!report.asn1Fields.isEmpty()) {
        text += QStringLiteral("\nASN.1/BER:\n");
        for (const QVariantMap& row : report.asn1Fields)
            text += QStringLiteral("  %1 @ %2: %3\n")
                        .arg(row.value(QStringLiteral("type")).toString(),
                             row.value(QStringLiteral("offset")).toString(),
                             row.value(QStringLiteral("value")).toString());
    }
    if (!report.printableStrings.isEmpty()) {
        text += QStringLiteral("\nТекстовые фрагменты:\n");
        for (const QString& string : report.printableStrings.mid(0, 80))
            text += QStringLiteral("  ") + string + QLatin1Char('\n');
    }
    return text;
}

QStringList Decoder::knownHexCandidates(const QByteArray& bytes, const QStringList& already)
{
    QStringList candidates;
    QSet<QString> seen(already.cbegin(), already.cend());
    seen.reserve(std::max<qsizetype>(0, bytes.size() - 15) + already.size());
    // A running count of printable bytes in the window keeps this linear in the file's size.
    int printable = 0;
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        const quint8 in = byteAt(bytes, i);
        printable += (in >= 32 && in <= 126);
        if (i >= 16) {
            const quint8 out = byteAt(bytes, i - 16);
            printable -= (out >= 32 && out <= 126);
        }
        if (i < 15 || printable == 0)
            continue;
        const QString text = QString::fromLatin1(bytes.constData() + i - 15, 16).trimmed();
        if (!text.isEmpty() && !seen.contains(text)) {
            seen.insert(text);
            candidates.append(text);
        }
    }
    return candidates;
}

namespace {

// The longest run of characters satisfying a test; a cheap gate before a regular expression that needs
// such a run, so the expression only runs where it could match.
int longestRun(const QString& text, bool (*accept)(QChar))
{
    int best = 0;
    int run = 0;
    for (const QChar c : text) {
        run = accept(c) ? run + 1 : 0;
        best = std::max(best, run);
    }
    return best;
}

bool isAsciiDigit(QChar c)
{
    return c >= QLatin1Char('0') && c <= QLatin1Char('9');
}

bool isAsciiAlphanumeric(QChar c)
{
    return isAsciiDigit(c) || (c.toUpper() >= QLatin1Char('A') && c.toUpper() <= QLatin1Char('Z'));
}

// One pattern of the loose-text pass, with the shortest run of letters or digits it needs.
struct LooseMatcher
{
    const QRegularExpression& expression;
    bool digitsOnly;
    int minimumRun;
    bool wanted;
    QString found;
    bool done = false;

    void test(const QString& text, int alphanumericRun, int digitRun)
    {
        if (!wanted || done || (digitsOnly ? digitRun : alphanumericRun) < minimumRun)
            return;
        const QRegularExpressionMatch match = expression.match(text);
        if (match.hasMatch()) {
            found = match.captured(0);
            done = true;
        }
    }
};

// Lengths of the runs of ASCII letters and digits (alphanumeric) and of digits ending at each byte.
void runLengths(const QByteArray& bytes, QList<quint8>& alphanumeric, QList<quint8>& digits)
{
    alphanumeric.resize(bytes.size());
    digits.resize(bytes.size());
    int alnum = 0;
    int digit = 0;
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        const auto c = static_cast<quint8>(bytes.at(i));
        const bool isDigit = c >= '0' && c <= '9';
        const bool isLetter = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
        alnum = (isDigit || isLetter) ? std::min(alnum + 1, 255) : 0;
        digit = isDigit ? std::min(digit + 1, 255) : 0;
        alphanumeric[i] = static_cast<quint8>(alnum);
        digits[i] = static_cast<quint8>(digit);
    }
}

// The longest run inside the window [start, start + 16).
int longestRunInWindow(const QList<quint8>& runs, qsizetype start)
{
    int best = 0;
    for (qsizetype i = start; i < start + 16; ++i)
        best = std::max(best, std::min<int>(runs.at(i), int(i - start + 1)));
    return best;
}

} // namespace

void Decoder::extractMetadata(DddReport& report, const QByteArray& bytes)
{
    static const QRegularExpression vinExpression(QStringLiteral("\\b[A-HJ-NPR-Z0-9]{17}\\b"),
                                                  QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression cardExpression(QStringLiteral("\\b[0-9]{14,19}\\b"));
    static const QRegularExpression registrationExpression(
        QStringLiteral("\\b(?=[A-Z0-9]{6,12}\\b)(?=[A-Z0-9]*[A-Z])(?=[A-Z0-9]*[0-9])[A-Z0-9-]+\\b"),
        QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression looseCardExpression(QStringLiteral("\\b[A-Z0-9]{10,20}\\b"),
                                                        QRegularExpression::CaseInsensitiveOption);
    const bool card = report.fileType == DddFileType::DriverCard;

    // Each pattern takes its first match in the order of the candidates: the printable strings, then
    // every 16-byte window of the file (knownHexCandidates). Only first matches count, so the windows are
    // walked lazily, and a window becomes text only when it holds a run long enough for an open pattern;
    // this keeps the pass linear in the file's size.
    LooseMatcher matchers[] = {{vinExpression, false, 17, true, {}},
                               {cardExpression, true, 14, true, {}},
                               {registrationExpression, false, 6, true, {}},
                               {looseCardExpression, false, 10, card && report.cardNumber.isEmpty(), {}}};
    const auto allDone = [&matchers]() {
        return std::all_of(std::begin(matchers), std::end(matchers),
                           [](const LooseMatcher& matcher) { return !matcher.wanted || matcher.done; });
    };
    for (const QString& text : std::as_const(report.printableStrings)) {
        const int alphanumeric = longestRun(text, isAsciiAlphanumeric);
        const int digits = longestRun(text, isAsciiDigit);
        for (LooseMatcher& matcher : matchers)
            matcher.test(text, alphanumeric, digits);
    }
    if (!allDone() && bytes.size() >= 16) {
        QList<quint8> alphanumericRuns;
        QList<quint8> digitRuns;
        runLengths(bytes, alphanumericRuns, digitRuns);
        for (qsizetype start = 0; start + 16 <= bytes.size() && !allDone(); ++start) {
            const int alphanumeric = longestRunInWindow(alphanumericRuns, start);
            if (alphanumeric < 6)
                continue; // no open pattern can match here
            const int digits = longestRunInWindow(digitRuns, start);
            const QString text = QString::fromLatin1(bytes.constData() + start, 16).trimmed();
            for (LooseMatcher& matcher : matchers)
                matcher.test(text, alphanumeric, digits);
        }
    }
    const QString vin = matchers[0].found;
    const QString cardNumber = matchers[1].found;
    const QString registration = matchers[2].found;
    if (report.vin.isEmpty())
        report.vin = vin;
    if (card && report.cardNumber.isEmpty())
        report.cardNumber = cardNumber;
    if (report.registrationNumber.isEmpty() && !registration.isEmpty() && registration != report.vin &&
        registration != report.cardNumber)
        report.registrationNumber = registration;
    if (card && report.cardNumber.isEmpty())
        report.cardNumber = matchers[3].found;
    if (report.vin.isEmpty()) {
        static const QRegularExpression wholeVin(QStringLiteral("^[A-HJ-NPR-Z0-9]{17}$"),
                                                 QRegularExpression::CaseInsensitiveOption);
        for (const QVariantMap& row : std::as_const(report.asn1Fields)) {
            const QString hexText = row.value(QStringLiteral("hex")).toString();
            if (row.value(QStringLiteral("length")).toInt() != 17 || hexText.size() != 34)
                continue;
            const QString text = QString::fromLatin1(QByteArray::fromHex(hexText.toLatin1())).trimmed();
            if (wholeVin.match(text).hasMatch()) {
                report.vin = text;
                break;
            }
        }
    }
}

DddReport Decoder::decode(const QByteArray& bytes, const QString& path)
{
    DddReport report;
    report.filePath = path;
    report.fileName = QFileInfo(path).fileName();
    report.fileType = detectType(bytes);
    if (report.fileType != DddFileType::Unknown)
        report.sourceFingerprint =
            QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
    report.size = static_cast<int>(bytes.size());
    report.printableStrings = printableStrings(bytes);
    if (report.fileType == DddFileType::Tachograph)
        report.blocks = splitTachographBlocks(bytes);
    else if (report.fileType == DddFileType::DriverCard)
        report.blocks = splitDriverCardBlocks(bytes);
    else if (!bytes.isEmpty())
        report.blocks.append(rawBlock(bytes, QStringLiteral("Данные")));
    if (report.fileType == DddFileType::Tachograph)
        parseTachographData(report);
    else if (report.fileType == DddFileType::DriverCard)
        parseDriverCardData(report);
    parseAsn1Data(report, bytes);
    extractMetadata(report, bytes);
    if (report.fileType == DddFileType::Tachograph) {
        // After the loose-text pass, so that what it found is shown too.
        report.vehicleIdentification = {
            {{QStringLiteral("description"), QStringLiteral("VIN номер")},
             {QStringLiteral("value"), report.vin}},
            {{QStringLiteral("description"), QStringLiteral("Страна регистрации")},
             {QStringLiteral("value"), report.vehicleRegistrationNation}},
            {{QStringLiteral("description"), QStringLiteral("Регистрационный номер")},
             {QStringLiteral("value"), report.registrationNumber}}};
    }
    buildSectionInventory(report);
    buildTachographChildInventory(report);
    buildAnalysis(report);
    report.structureText = structureText(report);
    return report;
}

void Decoder::buildAnalysis(DddReport& report)
{
    // The calendar date of each day key: a card's presence counters, a unit's day numbers.
    QHash<QString, QDate> dates;
    for (qsizetype row = 0; row < report.activities.size(); ++row)
        dates.insert(report.activities.value(row, u"activityDailyPresenceCounter").toString(),
                     parseReportTime(report.activities.value(row, u"activityRecordDate").toString()).date());
    for (qsizetype row = 0; row < report.dayInformation.size(); ++row)
        dates.insert(report.dayInformation.value(row, u"dayNo").toString(),
                     parseReportTime(report.dayInformation.value(row, u"timeReal").toString()).date());
    if (report.fileType != DddFileType::Tachograph) {
        // A card's changes are one driver's, whichever slot the card was in.
        report.analysis = ActivityAnalyzer::analyze(report.activityChanges, report.cardIwData,
                                                    report.specificConditions, dates);
    } else {
        // A unit's slots are two drivers: each is judged apart, and the driver's slot is the report's.
        QList<qsizetype> slotRows[2];
        for (qsizetype row = 0; row < report.activityChanges.size(); ++row)
            slotRows[report.activityChanges.value(row, u"slot").toString() == u"Сопряжённый водитель"_s]
                .append(row);
        DatasetRows slots[2] = {report.activityChanges, report.activityChanges};
        slots[0].reorder(slotRows[0]);
        slots[1].reorder(slotRows[1]);
        report.analysis =
            ActivityAnalyzer::analyze(slots[0], report.cardIwData, report.specificConditions, dates);
        report.analysis.insert(u"coDriver"_s, ActivityAnalyzer::analyze(slots[1], report.cardIwData,
                                                                        report.specificConditions, dates));
    }
    report.totalDays = static_cast<int>(report.analysis.value(QStringLiteral("workingHours"))
                                            .toMap()
                                            .value(QStringLiteral("items"))
                                            .toList()
                                            .size());
}

void Decoder::analyze(DddReport& report)
{
    buildAnalysis(report);
}

DddReport Decoder::decodeFile(const QString& path, QString* error)
{
    // Checked before opening: a pipe would block the open, a device would be read without end.
    const QFileInfo info(path);
    QString refusal;
    if (info.exists() && !info.isFile())
        refusal = u"Не обычный файл, DDD не читается: %1"_s.arg(path);
    else if (info.size() > kMaxFileSize)
        refusal = u"Файл больше %1 МиБ, DDD не читается: %2"_s.arg(kMaxFileSize >> 20).arg(path);
    if (!refusal.isEmpty()) {
        if (error)
            *error = refusal;
        return {};
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = file.errorString();
        return {};
    }
    DddReport report = decode(file.readAll(), path);
    if (report.fileType == DddFileType::Unknown && error)
        *error = QStringLiteral("Файл не похож на DDD: неизвестный заголовок");
    return report;
}

} // namespace tachoria::ddd
