#include "qml_controllers/journal_files.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace tachoria::qml {

namespace journal {

bool isJournalFileName(const QString& name)
{
    // The current file and its archives, and the daily files of older versions with theirs.
    return name == QLatin1String("Tachoria.log") || name.startsWith(QLatin1String("Tachoria.log.")) ||
           (name.startsWith(QLatin1String("Tachoria_")) &&
            (name.endsWith(QLatin1String(".log")) || name.contains(QLatin1String(".log."))));
}

QString sizeText(qint64 bytes)
{
    const qint64 kilobytes = (bytes + 1023) / 1024;
    if (kilobytes < 1024)
        return QStringLiteral("%1 КБ").arg(kilobytes);
    return QStringLiteral("%1 МБ").arg(QString::number(double(bytes) / (1024.0 * 1024.0), 'f', 1));
}

QVariantList files(const QString& directory)
{
    QFileInfoList found;
    const QFileInfoList all = QDir(directory).entryInfoList(QDir::Files, QDir::Time);
    for (const QFileInfo& info : all) {
        if (isJournalFileName(info.fileName()))
            found.append(info);
    }
    QVariantList list;
    for (const QFileInfo& info : found)
        list.append(QVariantMap{
            {QStringLiteral("name"), info.fileName()},
            {QStringLiteral("path"), info.absoluteFilePath()},
            {QStringLiteral("modified"), info.lastModified().toString(QStringLiteral("dd.MM.yyyy HH:mm:ss"))},
            {QStringLiteral("size"), sizeText(info.size())},
        });
    return list;
}

namespace {

QString displayedTime(const QString& stamp)
{
    const QDateTime moment = QDateTime::fromString(stamp, Qt::ISODateWithMs);
    return moment.isValid() ? moment.toLocalTime().toString(QStringLiteral("dd.MM.yyyy HH:mm:ss.zzz"))
                            : stamp;
}

// Reads the file line by line; `take` gets each non-blank line and its JSON object (empty when the line
// is no object).
template <typename Take>
void readLines(const QString& path, Take take)
{
    QFile file(path);
    if (path.isEmpty() || !file.open(QIODevice::ReadOnly))
        return;
    while (!file.atEnd()) {
        const QByteArray line = file.readLine().trimmed();
        if (line.isEmpty())
            continue;
        const QJsonDocument document = QJsonDocument::fromJson(line);
        take(QString::fromUtf8(line), document.isObject() ? document.object() : QJsonObject(),
             document.isObject());
    }
}

} // namespace

QVariantList entries(const QString& path)
{
    QVariantList list;
    const QString timestampKey = QStringLiteral("timestamp");
    readLines(path, [&](const QString& raw, const QJsonObject& object, bool isObject) {
        QVariantMap entry;
        if (!isObject) {
            entry = {{QStringLiteral("raw"), raw},
                     {timestampKey, QString()},
                     {QStringLiteral("timestampDisplay"), QString()},
                     {QStringLiteral("level"), QStringLiteral("info")},
                     {QStringLiteral("category"), QString()},
                     {QStringLiteral("operation"), QString()},
                     {QStringLiteral("message"), raw}};
            list.append(entry);
            return;
        }
        for (auto it = object.constBegin(); it != object.constEnd(); ++it)
            entry.insert(it.key().toLower(), it.value().toVariant());
        entry.insert(QStringLiteral("raw"), raw);
        for (const QString& key : {QStringLiteral("level"), QStringLiteral("category")}) {
            if (!entry.contains(key))
                entry.insert(key, QString());
        }
        entry.insert(QStringLiteral("timestampDisplay"), displayedTime(entry.value(timestampKey).toString()));
        list.append(entry);
    });
    return list;
}

QVector<Record> records(const QString& path)
{
    QVector<Record> list;
    readLines(path, [&list](const QString& raw, const QJsonObject& object, bool isObject) {
        if (!isObject) {
            list.append({QString(), QStringLiteral("info"), QString(), QString(), raw, raw});
            return;
        }
        // Keys are read in any case, as the map form lowers them.
        QString fields[5];
        const QLatin1String names[5] = {QLatin1String("timestamp"), QLatin1String("level"),
                                        QLatin1String("category"), QLatin1String("operation"),
                                        QLatin1String("message")};
        for (auto it = object.constBegin(); it != object.constEnd(); ++it) {
            for (int i = 0; i < 5; ++i) {
                if (it.key().compare(names[i], Qt::CaseInsensitive) == 0)
                    fields[i] = it.value().toVariant().toString();
            }
        }
        list.append({displayedTime(fields[0]), fields[1], fields[2], fields[3], fields[4], raw});
    });
    return list;
}

int removeFiles(const QString& directory)
{
    int failures = 0;
    QDir dir(directory);
    const QStringList names = dir.entryList(QDir::Files);
    for (const QString& name : names) {
        if (isJournalFileName(name) && !dir.remove(name))
            ++failures;
    }
    return failures;
}

} // namespace journal

JournalEntryModel::JournalEntryModel(QObject* parent)
    : QAbstractListModel(parent)
{
}

int JournalEntryModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(m_visible.size());
}

QVariant JournalEntryModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= m_visible.size())
        return {};
    const journal::Record& entry = m_entries.at(m_visible.at(index.row()));
    switch (role) {
    case TimestampRole:
        return entry.timestampDisplay;
    case LevelRole:
        return entry.level;
    case CategoryRole:
        return entry.category;
    case OperationRole:
        return entry.operation;
    case MessageRole:
        return entry.message.size() > kMessageLimit ? entry.message.left(kMessageLimit) + QChar(0x2026)
                                                    : entry.message;
    case RawRole:
        return entry.raw;
    default:
        return {};
    }
}

QHash<int, QByteArray> JournalEntryModel::roleNames() const
{
    return {{TimestampRole, "timestampDisplay"}, {LevelRole, "level"},     {CategoryRole, "category"},
            {OperationRole, "operation"},        {MessageRole, "message"}, {RawRole, "raw"}};
}

void JournalEntryModel::setEntries(const QVariantList& entries)
{
    m_entries.clear();
    m_entries.reserve(entries.size());
    for (const QVariant& value : entries) {
        const QVariantMap map = value.toMap();
        m_entries.append(
            {map.value(QStringLiteral("timestampDisplay")).toString(),
             map.value(QStringLiteral("level")).toString(), map.value(QStringLiteral("category")).toString(),
             map.value(QStringLiteral("operation")).toString(),
             map.value(QStringLiteral("message")).toString(), map.value(QStringLiteral("raw")).toString()});
    }
    rebuild();
}

void JournalEntryModel::setRecords(QVector<journal::Record> records)
{
    m_entries = std::move(records);
    rebuild();
}

void JournalEntryModel::setFilter(const QString& filter, const QString& search)
{
    m_filter = filter.isEmpty() ? QStringLiteral("all") : filter;
    m_search = search.trimmed();
    rebuild();
}

void JournalEntryModel::clear()
{
    m_entries.clear();
    rebuild();
}

bool JournalEntryModel::matchesFilter(const QString& filter, const QString& level, const QString& category)
{
    static const QStringList named = {QStringLiteral("protocol"), QStringLiteral("bluetooth"),
                                      QStringLiteral("calibration"), QStringLiteral("download"),
                                      QStringLiteral("firmware.update")};
    const QString lowerCategory = category.toLower();
    if (filter == QLatin1String("all"))
        return true;
    if (filter == QLatin1String("errors")) {
        const QString lowerLevel = level.toLower();
        return lowerLevel == QLatin1String("warning") || lowerLevel == QLatin1String("error") ||
               lowerLevel == QLatin1String("critical");
    }
    if (filter == QLatin1String("other"))
        return !named.contains(lowerCategory);
    return lowerCategory == filter;
}

void JournalEntryModel::rebuild()
{
    beginResetModel();
    m_visible.clear();
    for (int i = 0; i < m_entries.size(); ++i) {
        const journal::Record& entry = m_entries.at(i);
        if (!matchesFilter(m_filter, entry.level, entry.category))
            continue;
        if (!m_search.isEmpty()) {
            // The raw line holds the level, category and operation as they stand; the message is
            // searched apart since the line escapes its quotes and breaks.
            const QString* fields[] = {&entry.timestampDisplay, &entry.message, &entry.raw};
            const bool found = std::any_of(std::begin(fields), std::end(fields), [this](const QString* text) {
                return text->contains(m_search, Qt::CaseInsensitive);
            });
            if (!found)
                continue;
        }
        m_visible.append(i);
    }
    endResetModel();
    Q_EMIT contentChanged();
}

} // namespace tachoria::qml
