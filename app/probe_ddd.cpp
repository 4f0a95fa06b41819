// The console export of the decoder: one JSON document of a .ddd file's report, for scripts and tools.
#include "app/probes.h"
#include "ddd/ddd_decoder.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>

namespace tachoria::app {

int runDddProbe(const CommandLine& commandLine)
{
    QString error;
    const ddd::DddReport report =
        ddd::Decoder::decodeFile(commandLine.value(QStringLiteral("--probe-ddd")), &error);
    if (report.fileType == ddd::DddFileType::Unknown) {
        QTextStream(stderr) << error << '\n';
        return 9;
    }
    QJsonObject datasets;
    for (const QString& name : ddd::DddReport::datasetNames()) {
        QJsonArray rows;
        for (const QVariantMap& row : *report.dataset(name))
            rows.append(QJsonObject::fromVariantMap(row));
        datasets.insert(name, rows);
    }
    QJsonArray blocks;
    for (const QVariant& row : report.blockRows()) {
        QVariantMap block = row.toMap();
        block.remove(QStringLiteral("payloadHex"));
        block.insert(
            QStringLiteral("data"),
            QVariantMap{{QStringLiteral("length"),
                         block.value(QStringLiteral("data")).toMap().value(QStringLiteral("length"))}});
        blocks.append(QJsonObject::fromVariantMap(block));
    }
    QJsonObject document;
    document.insert(QStringLiteral("summary"), QJsonObject::fromVariantMap(report.summary()));
    document.insert(QStringLiteral("datasets"), datasets);
    document.insert(QStringLiteral("analysis"), QJsonObject::fromVariantMap(report.analysis));
    document.insert(QStringLiteral("blocks"), blocks);
    QTextStream out(stdout);
    out << QString::fromUtf8(QJsonDocument(document).toJson(QJsonDocument::Compact)) << '\n';
    out.flush();
    return 0;
}

} // namespace tachoria::app
