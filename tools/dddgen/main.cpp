// tachoria-dddgen: writes .ddd test files from a description.
//   tachoria-dddgen card|vu [--description file.json] [--days n] --out file.ddd
//   tachoria-dddgen vu-extended --out file.ddd
//   tachoria-dddgen corpus <folder>     the seed files of the decoder's fuzzing
//   tachoria-dddgen bench-files <folder> the generated files the decoder's speed is measured on
#include "tools/dddgen/ddd_description_json.h"
#include "tools/dddgen/ddd_generator.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QSaveFile>
#include <QTextStream>

#include <algorithm>

using namespace tachoria::dddgen;
using namespace Qt::StringLiterals;

namespace {

bool writeFile(const QString& path, const QByteArray& bytes)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
        QTextStream(stderr) << path << ": " << file.errorString() << '\n';
        return false;
    }
    return true;
}

bool writeCorpus(const QString& folder)
{
    if (!QDir().mkpath(folder))
        return false;
    DriverCardDescription card = sampleDriverCard(3);
    DriverCardDescription odd = card;
    odd.littleEndianCounts = true;
    odd.junkBetweenBlocks = 3;
    odd.truncatedRecords = true;
    odd.signatures = false;
    VehicleUnitDescription unit = sampleVehicleUnit(2);
    const QByteArray cardBytes = writeDriverCard(card);
    const QByteArray unitBytes = writeVehicleUnit(unit);
    const QList<std::pair<QString, QByteArray>> files = {
        {u"card.ddd"_s, cardBytes},
        {u"card-odd.ddd"_s, writeDriverCard(odd)},
        {u"card-truncated.ddd"_s, cardBytes.left(cardBytes.size() * 2 / 3)},
        {u"vu.ddd"_s, unitBytes},
        {u"vu-truncated.ddd"_s, unitBytes.left(unitBytes.size() / 2)},
        {u"vu-extended.ddd"_s, writeExtendedVehicleUnit(sampleExtendedVehicleUnit())},
    };
    for (const auto& [name, bytes] : files) {
        if (!writeFile(QDir(folder).filePath(name), bytes))
            return false;
    }
    return true;
}

// The generated files that the decoder's speed is measured on, whole process and all.
bool writeBenchFiles(const QString& folder)
{
    const QList<std::pair<QString, QByteArray>> files = {
        {u"vu-day-of-speed.ddd"_s, dayOfSpeedVehicleUnit()},
        {u"card-28-days.ddd"_s, writeDriverCard(sampleDriverCard(28))},
        {u"vu-4mib.ddd"_s, busyVehicleUnit(1450, false)},
        {u"card-long-activity.ddd"_s, longActivityCard(11)},
    };
    return QDir().mkpath(folder) && std::all_of(files.cbegin(), files.cend(), [&folder](const auto& file) {
               return writeFile(QDir(folder).filePath(file.first), file.second);
           });
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments().mid(1);
    QTextStream err(stderr);
    if (arguments.size() == 2 && arguments.first() == u"corpus"_s)
        return writeCorpus(arguments.at(1)) ? 0 : 1;
    if (arguments.size() == 2 && arguments.first() == u"bench-files"_s)
        return writeBenchFiles(arguments.at(1)) ? 0 : 1;
    if (arguments.isEmpty()) {
        err << "usage: tachoria-dddgen card|vu|vu-extended [--description file.json] [--days n] --out file\n"
               "       tachoria-dddgen corpus <folder>\n";
        return 2;
    }
    const auto option = [&arguments](const QString& name) {
        const qsizetype index = arguments.indexOf(name);
        return index >= 0 && index + 1 < arguments.size() ? arguments.at(index + 1) : QString();
    };
    QJsonObject description;
    if (const QString path = option(u"--description"_s); !path.isEmpty()) {
        QFile file(path);
        QJsonParseError error{};
        if (file.open(QIODevice::ReadOnly))
            description = QJsonDocument::fromJson(file.readAll(), &error).object();
        if (!file.isOpen() || error.error != QJsonParseError::NoError) {
            err << path << ": " << (file.isOpen() ? error.errorString() : file.errorString()) << '\n';
            return 2;
        }
    }
    if (const QString days = option(u"--days"_s); !days.isEmpty())
        description.insert(u"days"_s, days.toInt());
    const QString out = option(u"--out"_s);
    if (out.isEmpty()) {
        err << "--out is missing\n";
        return 2;
    }
    const QString kind = arguments.first();
    QByteArray bytes;
    if (kind == u"card"_s)
        bytes = writeDriverCard(driverCardFromJson(description));
    else if (kind == u"vu"_s)
        bytes = writeVehicleUnit(vehicleUnitFromJson(description));
    else if (kind == u"vu-extended"_s)
        bytes = writeExtendedVehicleUnit(sampleExtendedVehicleUnit());
    else {
        err << "unknown kind: " << kind << '\n';
        return 2;
    }
    return writeFile(out, bytes) ? 0 : 1;
}
