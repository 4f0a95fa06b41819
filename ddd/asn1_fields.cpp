// BER structures anywhere in a file: every element becomes a row of asn1Fields, and context-tagged
// elements of a typed structure give an identity. Bounded by design: 64 starts, 5000 rows, depth 24.
#include "ddd/ber_reader.h"
#include "ddd/ddd_decoder.h"
#include "ddd/ddd_fields.h"

#include <QRegularExpression>
#include <QSet>
#include <QStringDecoder>

namespace tachoria::ddd {

using namespace Qt::StringLiterals;

namespace {

constexpr int kMaxStarts = 64;
constexpr qsizetype kMaxRows = 5000;

struct ParsedRoot
{
    qsizetype start = 0;
    qsizetype end = 0;
    BerNode node;
};

QString strictUtf8(const QByteArray& bytes, bool* clean)
{
    const QString text = QString::fromUtf8(bytes);
    *clean = !text.contains(QChar(QChar::ReplacementCharacter));
    return text;
}

QString berTypeName(const BerNode& node)
{
    if (node.tagClass != 0)
        return u"context[%1]"_s.arg(node.tag);
    switch (node.tag) {
    case 1:
        return u"BOOLEAN"_s;
    case 2:
        return u"INTEGER"_s;
    case 3:
        return u"BIT STRING"_s;
    case 4:
        return u"OCTET STRING"_s;
    case 5:
        return u"NULL"_s;
    case 6:
        return u"OBJECT IDENTIFIER"_s;
    case 12:
        return u"UTF8 STRING"_s;
    case 16:
        return u"SEQUENCE"_s;
    case 17:
        return u"SET"_s;
    case 19:
        return u"PRINTABLE STRING"_s;
    case 22:
        return u"IA5 STRING"_s;
    case 23:
        return u"UTC TIME"_s;
    case 24:
        return u"GENERALIZED TIME"_s;
    default:
        return u"TAG %1"_s.arg(node.tag);
    }
}

// A two-digit year is of the 1900s from 50 to 99 and of the 2000s from 00 to 49, as certificates count
// them. The century is written in front before parsing, so that 29 February 2000 is a valid day.
QString withCentury(const QString& text)
{
    const auto digit = [&text](qsizetype index) {
        return index < text.size() && text.at(index) >= u'0' && text.at(index) <= u'9';
    };
    if (!digit(0) || !digit(1))
        return QString(); // no two-digit year: the form does not apply
    return (text.at(0) < u'5' ? u"20"_s : u"19"_s) + text;
}

QString berTimeText(const QByteArray& value)
{
    const QString text = QString::fromLatin1(value);
    const QList<std::pair<QString, QString>> attempts = {{withCentury(text), u"yyyyMMddhhmmss'Z'"_s},
                                                         {withCentury(text.left(12)), u"yyyyMMddhhmmss"_s},
                                                         {text, u"yyyyMMddhhmmss'Z'"_s},
                                                         {text.left(14), u"yyyyMMddhhmmss"_s}};
    for (const auto& [candidate, format] : attempts) {
        const QDateTime moment = QDateTime::fromString(candidate, format);
        if (moment.isValid())
            return moment.toString(u"dd.MM.yyyy HH:mm:ss"_s);
    }
    return QString();
}

QString berText(const BerNode& node)
{
    switch (node.tag) {
    case 12:
        return QString::fromUtf8(node.value).trimmed();
    case 19:
    case 22:
        return QString::fromLatin1(node.value).trimmed();
    case 23:
    case 24:
        return berTimeText(node.value);
    case 4: {
        bool clean = false;
        const QString text = strictUtf8(node.value, &clean).trimmed();
        return clean ? text : QString();
    }
    case 1:
        if (node.tagClass == 0 && !node.value.isEmpty())
            return node.value.at(0) != 0 ? u"true"_s : u"false"_s;
        return QString();
    default:
        return QString();
    }
}

QString berIntegerText(const BerNode& node, bool isSigned)
{
    if (node.tagClass != 0 || node.tag != 2 || node.value.isEmpty() || node.value.size() > 8)
        return QString();
    quint64 value = (isSigned && (byteAt(node.value, 0) & 0x80)) ? ~quint64(0) : 0;
    for (const char c : node.value)
        value = (value << 8) | static_cast<quint8>(c);
    return isSigned ? QString::number(qint64(value)) : QString::number(value);
}

QString berInteger(const BerNode& node)
{
    return berIntegerText(node, false);
}

QString berSignedInteger(const BerNode& node)
{
    return berIntegerText(node, true);
}

QString berOid(const BerNode& node)
{
    if (node.tagClass != 0 || node.tag != 6 || node.value.isEmpty())
        return QString();
    QStringList arcs;
    quint64 arc = 0;
    bool first = true;
    for (qsizetype i = 0; i < node.value.size(); ++i) {
        const quint8 byte = byteAt(node.value, i);
        if (arc > (~quint64(0) >> 7))
            return QString();
        arc = (arc << 7) | (byte & 0x7F);
        if (byte & 0x80)
            continue;
        if (first) {
            const quint64 head = arc < 80 ? arc / 40 : 2;
            arcs << QString::number(head) << QString::number(arc - head * 40);
            first = false;
        } else {
            arcs << QString::number(arc);
        }
        arc = 0;
    }
    if (node.value.isEmpty() || (byteAt(node.value, node.value.size() - 1) & 0x80))
        return QString(); // malformed: the last arc does not end
    return arcs.join(QLatin1Char('.'));
}

QString asn1ScalarText(const BerNode& node)
{
    QString text = berText(node);
    if (text.isEmpty())
        text = berInteger(node);
    if (!text.isEmpty())
        return text;
    if (node.constructed) {
        for (const BerNode& child : node.children) {
            text = asn1ScalarText(child);
            if (!text.isEmpty())
                return text;
        }
        return QString();
    }
    if (node.value.size() == 4) {
        text = formatUnix(readBe32(node.value, 0));
        if (!text.isEmpty())
            return text;
    }
    if (!node.value.isEmpty() && std::all_of(node.value.begin(), node.value.end(), [](char c) {
            return static_cast<quint8>(c) >= 32 && static_cast<quint8>(c) <= 126;
        }))
        return QString::fromLatin1(node.value);
    bool clean = false;
    text = strictUtf8(node.value, &clean);
    return clean ? text : QString();
}

QString asn1DateText(const BerNode& node)
{
    if (node.constructed) {
        for (const BerNode& child : node.children) {
            const QString text = asn1DateText(child);
            if (!text.isEmpty())
                return text;
        }
    }
    if (node.tag == 23 || node.tag == 24) {
        const QString text = berText(node);
        if (!text.isEmpty())
            return text;
    }
    if (!node.constructed && node.value.size() == 4) {
        const QString text = formatUnix(readBe32(node.value, 0));
        if (!text.isEmpty())
            return text;
    }
    return asn1ScalarText(node);
}

QString classText(const BerNode& node)
{
    return node.tagClass == 0 ? u"UNIVERSAL"_s : u"CONTEXT[%1]"_s.arg(node.tagClass);
}

// The plausibility test of an identity field, on its trimmed text.
bool validSemanticAsn1Value(int tag, const QString& value)
{
    static const QRegularExpression vin(u"^[A-HJ-NPR-Z0-9]{17}$"_s,
                                        QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression letter(u"[A-ZА-Я]"_s, QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression digit(u"[0-9]"_s);
    static const QRegularExpression registration(u"^[A-ZА-Я0-9 -]+$"_s,
                                                 QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression date(u"^\\d{2}\\.\\d{2}\\.\\d{4}(?:\\s|$)"_s);
    static const QRegularExpression name(u"^[A-ZА-ЯЁ][A-ZА-ЯЁ -]*$"_s,
                                         QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression cardNumber(u"^[A-Z0-9-]+$"_s, QRegularExpression::CaseInsensitiveOption);
    bool valid = false;
    switch (tag) {
    case 1: {
        bool ok = false;
        const int version = value.toInt(&ok);
        valid = ok && version >= 1 && version <= 255;
        break;
    }
    case 2:
        valid = vin.match(value).hasMatch();
        break;
    case 3:
        valid = value.size() >= 3 && value.size() <= 20 && letter.match(value).hasMatch() &&
                digit.match(value).hasMatch() && registration.match(value).hasMatch();
        break;
    case 5:
    case 6:
        valid = value.size() >= 2 && value.size() <= 80 && name.match(value).hasMatch();
        break;
    case 7:
        valid = value.size() >= 10 && value.size() <= 20 && digit.match(value).hasMatch() &&
                cardNumber.match(value).hasMatch();
        break;
    default: // the dates
        valid = date.match(value).hasMatch();
        break;
    }
    return valid;
}

struct Asn1Walk
{
    DddReport& report;

    bool full() const { return report.asn1Fields.size() >= kMaxRows; }

    void appendBerFields(const BerNode& node, const QString& path)
    {
        if (full())
            return;
        QVariantMap row{{u"path"_s, path},
                        {u"tag"_s, node.tag},
                        {u"class"_s, classText(node)},
                        {u"constructed"_s, node.constructed ? u"Да"_s : u"Нет"_s},
                        {u"type"_s, berTypeName(node)},
                        {u"offset"_s, node.offset},
                        {u"length"_s, int(node.value.size())},
                        {u"value"_s, asn1ScalarText(node)},
                        {u"integer"_s, berInteger(node)},
                        {u"signedInteger"_s, berSignedInteger(node)},
                        {u"boolean"_s, (node.tagClass == 0 && node.tag == 1) ? berText(node) : QString()},
                        {u"oid"_s, berOid(node)},
                        {u"rawTagClass"_s, node.tagClass},
                        {u"isIndefiniteLength"_s, node.indefiniteLength},
                        {u"hex"_s, upperHex(node.value)}};
        report.asn1Fields.append(row);
        for (qsizetype i = 0; i < node.children.size() && !full(); ++i)
            appendBerFields(node.children.at(i), u"%1.%2"_s.arg(path).arg(i));
    }

    void extractAsn1Identity(const BerNode& node, const QString& path)
    {
        if (node.tagClass == 2 && node.tag >= 1 && node.tag <= 10)
            takeIdentityField(node, path);
        for (qsizetype i = 0; i < node.children.size(); ++i)
            extractAsn1Identity(node.children.at(i), u"%1.%2"_s.arg(path).arg(i));
    }

    void takeIdentityField(const BerNode& node, const QString& path)
    {
        static const QStringList names = {u"version"_s,
                                          u"vin"_s,
                                          u"registrationNumber"_s,
                                          u"vehicleFirstUseDate"_s,
                                          u"driverSurname"_s,
                                          u"driverFirstName"_s,
                                          u"cardNumber"_s,
                                          u"dataStartDate"_s,
                                          u"dataEndDate"_s,
                                          u"cardWithdrawalTime"_s};
        const int tag = int(node.tag);
        const bool isDate = tag == 4 || tag >= 8;
        const QString value = (isDate ? asn1DateText(node) : asn1ScalarText(node)).trimmed();
        if (!validSemanticAsn1Value(tag, value))
            return;
        DddAsn1Identity& identity = report.asn1Identity;
        const auto store = [&value](QString& identityField, QString& reportField) {
            if (identityField.isEmpty())
                identityField = value;
            if (reportField.isEmpty())
                reportField = value;
        };
        switch (tag) {
        case 1:
            if (identity.version == 0)
                identity.version = value.toInt();
            if (report.asn1Version == 0)
                report.asn1Version = value.toInt();
            break;
        case 2:
            store(identity.vin, report.vin);
            break;
        case 3:
            store(identity.registrationNumber, report.registrationNumber);
            break;
        case 4:
            store(identity.vehicleFirstUseDate, report.vehicleFirstUseDate);
            break;
        case 5:
            store(identity.driverSurname, report.driverSurname);
            break;
        case 6:
            store(identity.driverFirstName, report.driverFirstName);
            break;
        case 7:
            store(identity.cardNumber, report.cardNumber);
            break;
        case 8:
            store(identity.dataStartDate, report.dataStartDate);
            break;
        case 9:
            store(identity.dataEndDate, report.dataEndDate);
            break;
        default:
            store(identity.cardWithdrawalTime, report.cardWithdrawalTime);
            break;
        }
        // Not bounded by the 5000 rows of the elements: a row past them ends the walk over the roots.
        const QString field = names.at(tag - 1);
        report.asn1Fields.append({{u"path"_s, path},
                                  {u"tag"_s, node.tag},
                                  {u"class"_s, classText(node)},
                                  {u"constructed"_s, node.constructed ? u"Да"_s : u"Нет"_s},
                                  {u"type"_s, u"ASN.1: %1"_s.arg(field)},
                                  {u"value"_s, value},
                                  {u"semanticField"_s, field},
                                  {u"hex"_s, upperHex(node.value)}});
    }
};

QString semanticCandidateFor(const QVariantMap& row)
{
    static const QRegularExpression vin(u"^[A-HJ-NPR-Z0-9]{17}$"_s,
                                        QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression cardNumber(u"^[0-9]{14,19}$"_s);
    static const QRegularExpression identifier(u"^[A-Z0-9]{10,20}$"_s,
                                               QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression digit(u"[0-9]"_s);
    static const QRegularExpression dateTime(u"^\\d{2}\\.\\d{2}\\.\\d{4}"_s);
    const QString value = row.value(u"value"_s).toString().trimmed();
    if (!value.isEmpty()) {
        if (vin.match(value).hasMatch())
            return u"candidate.vin"_s;
        if (cardNumber.match(value).hasMatch())
            return u"candidate.cardNumber"_s;
        if (identifier.match(value).hasMatch() && digit.match(value).hasMatch())
            return u"candidate.identifier"_s;
        if (dateTime.match(value).hasMatch())
            return u"candidate.dateTime"_s;
    }
    const QString hex = row.value(u"hex"_s).toString();
    if (hex.size() == 34 &&
        vin.match(QString::fromLatin1(QByteArray::fromHex(hex.toLatin1())).trimmed()).hasMatch())
        return u"candidate.vin"_s;
    if (row.value(u"rawTagClass"_s).toInt() == 2 && row.contains(u"rawTagClass"_s))
        return u"vendor.context[%1]"_s.arg(row.value(u"tag"_s).toString());
    return QString();
}

void annotateAsn1Fields(DddReport& report)
{
    DatasetRows annotated;
    annotated.reserve(report.asn1Fields.size());
    for (QVariantMap row : std::as_const(report.asn1Fields)) {
        const QString candidate = semanticCandidateFor(row);
        if (!candidate.isEmpty())
            row.insert(u"semanticField"_s, candidate);
        row.insert(u"normalizedValue"_s, row.value(u"value"_s));
        annotated.append(row);
    }
    report.asn1Fields = std::move(annotated);
}

} // namespace

void Decoder::parseAsn1Data(DddReport& report, const QByteArray& bytes)
{
    if (bytes.isEmpty())
        return;
    QList<qsizetype> starts;
    starts.append(bytes.size() >= 2 && byteAt(bytes, 0) == 0x76 && byteAt(bytes, 1) == 0x81 ? 2 : 0);
    // A 0x30 at offset 2 of a 7681 file is listed a second time and takes one of the 64 places.
    for (qsizetype i = 1; i < bytes.size() && starts.size() < kMaxStarts; ++i) {
        if (byteAt(bytes, i) == 0x30)
            starts.append(i);
    }
    std::sort(starts.begin(), starts.end());
    // Starts ascend, so a root is dropped exactly when it begins inside the last kept one; such a start
    // is not parsed at all.
    QList<ParsedRoot> roots;
    for (const qsizetype start : std::as_const(starts)) {
        if (!roots.isEmpty() && start < roots.last().end)
            continue;
        ParsedRoot root;
        root.start = start;
        qsizetype position = start;
        if (!parseBerNode(bytes, position, bytes.size(), root.node))
            continue;
        const BerNode& node = root.node;
        if (node.tagClass != 0 || !node.constructed || (node.tag != 16 && node.tag != 17) ||
            (node.children.isEmpty() && node.value.size() <= 3))
            continue;
        root.end = position;
        roots.append(std::move(root));
    }
    Asn1Walk walk{report};
    for (qsizetype index = 0; index < roots.size() && report.asn1Fields.size() <= kMaxRows; ++index) {
        const QString path = QString::number(index);
        walk.appendBerFields(roots.at(index).node, path);
        walk.extractAsn1Identity(roots.at(index).node, path);
    }
    annotateAsn1Fields(report);
    QSet<QString> seen(report.printableStrings.cbegin(), report.printableStrings.cend());
    for (const QVariantMap& row : std::as_const(report.asn1Fields)) {
        const QString value = row.value(u"value"_s).toString();
        if (!value.isEmpty() && !seen.contains(value)) {
            seen.insert(value);
            report.printableStrings.append(value);
        }
    }
}

} // namespace tachoria::ddd
