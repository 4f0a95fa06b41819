#include "ddd/ddd_json.h"

#include <charconv>

namespace tachoria::ddd {

using namespace Qt::StringLiterals;

bool JsonWriter::flush()
{
    if (m_size > 0 && std::fwrite(m_buffer.constData(), 1, size_t(m_size), m_out) != size_t(m_size))
        m_failed = true;
    m_size = 0;
    return !m_failed && std::fflush(m_out) == 0;
}

void JsonWriter::number(qint64 value)
{
    char* out = room(24);
    m_size = std::to_chars(out, out + 24, value).ptr - m_buffer.constData();
}

void JsonWriter::string(QStringView text)
{
    static constexpr char kHex[] = "0123456789abcdef";
    static constexpr char kShort[] = {'b', 't', 'n', 0, 'f', 'r'};
    // At most six bytes a character (an escape), and the two quotes: written through a pointer.
    char* out = room(6 * text.size() + 2);
    *out++ = '"';
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t c = text[i].unicode();
        if (c >= 0x20 && c < 0x80 && c != u'"' && c != u'\\') {
            *out++ = char(c);
        } else if (c < 0x80) {
            *out++ = '\\';
            if (c == u'"' || c == u'\\') {
                *out++ = char(c);
            } else if (c >= 8 && c <= 13 && kShort[c - 8] != 0) {
                *out++ = kShort[c - 8];
            } else {
                *out++ = 'u';
                *out++ = '0';
                *out++ = '0';
                *out++ = kHex[c >> 4];
                *out++ = kHex[c & 0x0F];
            }
        } else {
            char32_t code = c;
            if (QChar::isHighSurrogate(c) && i + 1 < text.size() &&
                QChar::isLowSurrogate(text[i + 1].unicode()))
                code = QChar::surrogateToUcs4(c, text[++i].unicode());
            else if (QChar::isSurrogate(c))
                code = 0xFFFD; // a lone half of a pair cannot be written
            if (code < 0x800) {
                *out++ = char(0xC0 | (code >> 6));
            } else if (code < 0x10000) {
                *out++ = char(0xE0 | (code >> 12));
                *out++ = char(0x80 | ((code >> 6) & 0x3F));
            } else {
                *out++ = char(0xF0 | (code >> 18));
                *out++ = char(0x80 | ((code >> 12) & 0x3F));
                *out++ = char(0x80 | ((code >> 6) & 0x3F));
            }
            *out++ = char(0x80 | (code & 0x3F));
        }
    }
    *out++ = '"';
    m_size = out - m_buffer.constData();
}

void JsonWriter::object(const QVariantMap& map)
{
    raw("{");
    for (auto it = map.cbegin(); it != map.cend(); ++it) {
        if (it != map.cbegin())
            raw(",");
        string(it.key());
        raw(":");
        value(it.value());
    }
    raw("}");
}

void JsonWriter::list(const QVariantList& list)
{
    raw("[");
    for (qsizetype i = 0; i < list.size(); ++i) {
        if (i > 0)
            raw(",");
        value(list.at(i));
    }
    raw("]");
}

void JsonWriter::entry(int value)
{
    number(value);
}

void JsonWriter::entry(const QString& value)
{
    string(value);
}

void JsonWriter::entry(const QVariant& value)
{
    this->value(value);
}

void JsonWriter::value(const QVariant& value)
{
    switch (value.typeId()) {
    case QMetaType::UnknownType:
    case QMetaType::Nullptr:
        raw("null");
        break;
    case QMetaType::Bool:
        raw(value.toBool() ? "true" : "false");
        break;
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::UChar:
    case QMetaType::SChar:
    case QMetaType::Char:
        number(value.toLongLong());
        break;
    case QMetaType::Double:
    case QMetaType::Float:
    case QMetaType::ULongLong: {
        const double number = value.toDouble();
        raw(qIsFinite(number) ? QByteArray::number(number, 'g', QLocale::FloatingPointShortest).constData()
                              : "null");
        break;
    }
    case QMetaType::QVariantMap:
        object(*static_cast<const QVariantMap*>(value.constData()));
        break;
    case QMetaType::QVariantList:
        list(*static_cast<const QVariantList*>(value.constData()));
        break;
    case QMetaType::QStringList:
        list(QVariant(value).toList());
        break;
    case QMetaType::QString:
        string(*static_cast<const QString*>(value.constData()));
        break;
    default:
        string(value.toString());
        break;
    }
}

bool writeReportJson(const DddReport& report, FILE* out)
{
    JsonWriter json(out);
    json.raw("{\"analysis\":");
    json.object(report.analysis);
    json.raw(",\"blocks\":[");
    const bool card = report.fileType == DddFileType::DriverCard;
    for (qsizetype i = 0; i < report.blocks.size(); ++i) {
        const DddBlock& block = report.blocks.at(i);
        if (i > 0)
            json.raw(",");
        json.object(
            QVariantMap{{u"blockStartPosition"_s, 0},
                        {u"data"_s, QVariantMap{{u"length"_s, block.length}}},
                        {u"description"_s, card ? u"Найден по структурированному формату"_s : QString()},
                        {u"fileNumber"_s, block.fileNumber},
                        {u"fileType"_s, block.fileType},
                        {u"length"_s, block.length},
                        {u"name"_s, block.name},
                        {u"occurrence"_s, card ? 0 : block.occurrence},
                        {u"offset"_s, block.offset},
                        {u"recordCount"_s, card ? 0 : block.recordCount},
                        {u"recordLength"_s, card ? 0 : block.recordLength}});
    }
    json.raw("],\"datasets\":{");
    QStringList names = DddReport::datasetNames();
    names.sort();
    for (const QString& name : std::as_const(names)) {
        if (name != names.first())
            json.raw(",");
        json.string(name);
        json.raw(":[");
        const DatasetRows& rows = *report.dataset(name);
        for (qsizetype i = 0; i < rows.size(); ++i) {
            json.raw(i > 0 ? ",{" : "{");
            bool first = true;
            rows.visit(i, [&json, &first](const QString& key, const auto& value) {
                json.raw(first ? "" : ",");
                first = false;
                json.string(key);
                json.raw(":");
                json.entry(value);
            });
            json.raw("}");
        }
        json.raw("]");
    }
    json.raw("},\"summary\":");
    json.object(report.summary());
    json.raw("}\n");
    return json.flush();
}

} // namespace tachoria::ddd
