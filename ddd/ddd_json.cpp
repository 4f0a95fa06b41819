#include "ddd/ddd_json.h"

#include <charconv>

namespace tachoria::ddd {

using namespace Qt::StringLiterals;

bool JsonWriter::flush()
{
    if (!m_buffer.isEmpty() &&
        std::fwrite(m_buffer.constData(), 1, m_buffer.size(), m_out) != size_t(m_buffer.size()))
        m_failed = true;
    m_buffer.clear();
    return !m_failed && std::fflush(m_out) == 0;
}

void JsonWriter::number(qint64 value)
{
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    m_buffer.append(digits, end - digits);
}

void JsonWriter::string(QStringView text)
{
    static constexpr char kHex[] = "0123456789abcdef";
    m_buffer.append('"');
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t c = text[i].unicode();
        if (c >= 0x20 && c < 0x80 && c != u'"' && c != u'\\') {
            m_buffer.append(char(c));
        } else if (c < 0x80) {
            static constexpr char kShort[] = {'b', 't', 'n', 0, 'f', 'r'};
            m_buffer.append('\\');
            if (c == u'"' || c == u'\\')
                m_buffer.append(char(c));
            else if (c >= 8 && c <= 13 && kShort[c - 8] != 0)
                m_buffer.append(kShort[c - 8]);
            else
                m_buffer.append("u00").append(kHex[c >> 4]).append(kHex[c & 0x0F]);
        } else {
            char32_t code = c;
            if (QChar::isHighSurrogate(c) && i + 1 < text.size() &&
                QChar::isLowSurrogate(text[i + 1].unicode()))
                code = QChar::surrogateToUcs4(c, text[++i].unicode());
            else if (QChar::isSurrogate(c))
                code = 0xFFFD; // a lone half of a pair cannot be written
            if (code < 0x800) {
                m_buffer.append(char(0xC0 | (code >> 6)));
            } else if (code < 0x10000) {
                m_buffer.append(char(0xE0 | (code >> 12)));
                m_buffer.append(char(0x80 | ((code >> 6) & 0x3F)));
            } else {
                m_buffer.append(char(0xF0 | (code >> 18)));
                m_buffer.append(char(0x80 | ((code >> 12) & 0x3F)));
                m_buffer.append(char(0x80 | ((code >> 6) & 0x3F)));
            }
            m_buffer.append(char(0x80 | (code & 0x3F)));
        }
    }
    m_buffer.append('"');
    spill();
}

void JsonWriter::object(const QVariantMap& map)
{
    m_buffer.append('{');
    for (auto it = map.cbegin(); it != map.cend(); ++it) {
        if (it != map.cbegin())
            m_buffer.append(',');
        string(it.key());
        m_buffer.append(':');
        value(it.value());
    }
    m_buffer.append('}');
}

void JsonWriter::list(const QVariantList& list)
{
    m_buffer.append('[');
    for (qsizetype i = 0; i < list.size(); ++i) {
        if (i > 0)
            m_buffer.append(',');
        value(list.at(i));
    }
    m_buffer.append(']');
}

void JsonWriter::value(const QVariant& value)
{
    switch (value.typeId()) {
    case QMetaType::UnknownType:
    case QMetaType::Nullptr:
        m_buffer.append("null");
        break;
    case QMetaType::Bool:
        m_buffer.append(value.toBool() ? "true" : "false");
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
        m_buffer.append(qIsFinite(number) ? QByteArray::number(number, 'g', QLocale::FloatingPointShortest)
                                          : QByteArray("null"));
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
    default:
        string(value.toString());
        break;
    }
    spill();
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
            if (i > 0)
                json.raw(",");
            json.object(rows.at(i));
        }
        json.raw("]");
    }
    json.raw("},\"summary\":");
    json.object(report.summary());
    json.raw("}\n");
    return json.flush();
}

} // namespace tachoria::ddd
