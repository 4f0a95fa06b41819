#pragma once

#include "ddd/ddd_report.h"

#include <QByteArray>
#include <QString>

namespace tachoria::ddd {

// Recognises a .ddd file and cuts it into blocks. It never rejects: every input gives a report, and
// what could not be read stays empty.
class Decoder
{
public:
    // decodeFile refuses larger files, and anything that is not a regular file, before reading a byte.
    static constexpr qint64 kMaxFileSize = qint64(64) << 20;

    static DddReport decodeFile(const QString& path, QString* error = nullptr);
    static DddReport decode(const QByteArray& bytes, const QString& path);
    static DddFileType detectType(const QByteArray& bytes);
    static QString typeName(DddFileType type);

    static QList<DddBlock> splitTachographBlocks(const QByteArray& bytes);
    static QList<DddBlock> splitDriverCardBlocks(const QByteArray& bytes);
    // The second-generation layout: the certificate behind 7681, then the 7684 and 7685 spans.
    static void appendExtendedTachographBlocks(const QByteArray& bytes, QList<DddBlock>& blocks);
    static QStringList printableStrings(const QByteArray& bytes);
    static QString tachographBlockName(const QString& tag);
    static QString cardBlockName(const QString& tag);

    // Clears sections and gives every block its row, with the true record fields.
    static void buildSectionInventory(DddReport& report);
    // Fills identity fields the parsers left empty from loose text in the file.
    static void extractMetadata(DddReport& report, const QByteArray& bytes);
    // Every 16-byte window with a printable byte, as trimmed Latin-1, each text once.
    static QStringList knownHexCandidates(const QByteArray& bytes, const QStringList& already);
    static QString structureText(const DddReport& report);

    static void parseTachographData(DddReport& report);
    static void parseDriverCardData(DddReport& report);
    // BER structures anywhere in the file: asn1Fields and the identity of context-tagged elements.
    static void parseAsn1Data(DddReport& report, const QByteArray& bytes);
    static void buildTachographChildInventory(DddReport& report);
    // Sets analysis from the activity changes, then totalDays from its days.
    static void buildAnalysis(DddReport& report);
    // The analysis again, for a report that comes back from storage.
    static void analyze(DddReport& report);

private:
    Decoder() = delete;
};

} // namespace tachoria::ddd
