#pragma once

// The console export of a report: one compact JSON document, written as it goes. It holds the same keys
// and values, in the same order, as a QJsonDocument built of the report's maps would, without building
// one: a day of detailed speed alone is 86,400 chart rows.

#include "ddd/ddd_report.h"

#include <QByteArray>
#include <QVariant>

#include <cstdio>

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
    void string(QStringView text);
    void raw(const char* text) { m_buffer.append(text); }
    // True when every byte reached the stream.
    bool flush();

private:
    void number(qint64 value);
    void list(const QVariantList& list);
    void spill()
    {
        if (m_buffer.size() >= kChunk)
            flush();
    }

    static constexpr qsizetype kChunk = 1 << 18;
    FILE* m_out;
    QByteArray m_buffer;
    bool m_failed = false;
};

// {"analysis": …, "blocks": […], "datasets": {…}, "summary": {…}}: the blocks without their bytes.
bool writeReportJson(const DddReport& report, FILE* out);

} // namespace tachoria::ddd
