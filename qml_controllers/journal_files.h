#pragma once

#include <QAbstractListModel>
#include <QString>
#include <QVariantList>
#include <QVector>

namespace tachoria::qml {

// The journal's files as the log viewer lists them, and their records read back.
namespace journal {

bool isJournalFileName(const QString& name);
// Maps of name, path, modified ("dd.MM.yyyy HH:mm:ss") and size ("%1 КБ" / "%1 МБ"), newest first.
QVariantList files(const QString& directory);
QString sizeText(qint64 bytes);
// One record of the journal as the viewer shows it.
struct Record
{
    QString timestampDisplay;
    QString level;
    QString category;
    QString operation;
    QString message;
    QString raw;
};

// One map per non-blank line: a JSON object with its keys lower-cased and `raw`, `timestampDisplay`;
// a line that is no object as an "info" record whose message is the line.
QVariantList entries(const QString& path);
// The same lines as the viewer's records, without the maps (a file holds tens of thousands).
QVector<Record> records(const QString& path);
// Removes every journal file of the folder; the number that could not be removed.
int removeFiles(const QString& directory);

} // namespace journal

// The records of one journal file for the viewer, filtered without copying them into QML: a file of
// 5 MiB holds tens of thousands of records.
class JournalEntryModel : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(int totalCount READ totalCount NOTIFY contentChanged)
    Q_PROPERTY(QString filter READ filter NOTIFY contentChanged)
    Q_PROPERTY(QString search READ search NOTIFY contentChanged)

public:
    enum Role
    {
        TimestampRole = Qt::UserRole + 1,
        LevelRole,
        CategoryRole,
        OperationRole,
        MessageRole,
        RawRole,
    };
    static constexpr int kMessageLimit = 260;

    explicit JournalEntryModel(QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    void setEntries(const QVariantList& entries);
    void setRecords(QVector<journal::Record> records);
    // filter: "all", "errors", "protocol", "bluetooth", "calibration", "download", "firmware.update",
    // "other".
    Q_INVOKABLE void setFilter(const QString& filter, const QString& search);
    Q_INVOKABLE void clear();

    int totalCount() const { return int(m_entries.size()); }
    QString filter() const { return m_filter; }
    QString search() const { return m_search; }

    static bool matchesFilter(const QString& filter, const QString& level, const QString& category);

Q_SIGNALS:
    void contentChanged();

private:
    void rebuild();

    QVector<journal::Record> m_entries;
    QVector<int> m_visible;
    QString m_filter = QStringLiteral("all");
    QString m_search;
};

} // namespace tachoria::qml
