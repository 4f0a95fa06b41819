#pragma once

// The console export of a report: one compact JSON document, written as it goes. It holds the same keys
// and values, in the same order, as a QJsonDocument built of the report's maps would, without building
// one: a day of detailed speed alone is 86,400 chart rows.

#include "ddd/ddd_report.h"

#include <QByteArray>
#include <QVariant>

#include <cstdio>
#include <cstring>

namespace tachoria::ddd {

class JsonWriter
{
public:
    explicit JsonWriter(FILE* out)
        : m_out(out)
    {
    }
    ~JsonWriter() { flush(); }
    JsonWriter(const JsonWriter&) = delete;
    JsonWriter& operator=(const JsonWriter&) = delete;

    void value(const QVariant& value);
    void object(const QVariantMap& map);
    // A value of a dataset's row, as the row keeps it.
    void entry(int value);
    void entry(const QString& value);
    void entry(const QVariant& value);
    void string(QStringView text);
    void raw(const char* text) { put(text, qsizetype(std::strlen(text))); }
    // True when every byte reached the stream.
    bool flush();

private:
    void number(qint64 value);
    void list(const QVariantList& list);
    void put(const char* bytes, qsizetype size)
    {
        std::memcpy(room(size), bytes, size_t(size));
        m_size += size;
    }
    // Room for `size` more bytes at the end of what is buffered; a full buffer goes out first.
    char* room(qsizetype size)
    {
        if (m_size + size > m_buffer.size()) {
            flush();
            if (size > m_buffer.size())
                m_buffer.resize(size);
        }
        return m_buffer.data() + m_size;
    }

    FILE* m_out;
    QByteArray m_buffer{1 << 18, Qt::Uninitialized};
    qsizetype m_size = 0;
    bool m_failed = false;
};

// {"analysis": …, "blocks": […], "datasets": {…}, "summary": {…}}: the blocks without their bytes.
bool writeReportJson(const DddReport& report, FILE* out);

} // namespace tachoria::ddd
