#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>

#include <initializer_list>
#include <iterator>
#include <type_traits>
#include <utility>

namespace tachoria::ddd {

enum class DddFileType
{
    Unknown = 0,
    DriverCard = 1,
    Tachograph = 2,
};

// One cut-out piece of a .ddd file.
struct DddBlock
{
    QString fileNumber; // tag in upper-case hexadecimal ("7601", "0505"), or "RAW", "ASN1"
    QString name;
    int occurrence = 0;
    int offset = 0;
    int length = 0;
    int recordCount = -1;
    int recordLength = -1;
    QByteArray data;
    int fileType = 0; // third byte of a card header: 0 data, 1 signature
};

struct DddAsn1Identity
{
    int version = 0;
    QString vin;
    QString registrationNumber;
    QString vehicleFirstUseDate;
    QString driverSurname;
    QString driverFirstName;
    QString cardNumber;
    QString dataStartDate;
    QString dataEndDate;
    QString cardWithdrawalTime;
};

// The rows of one dataset, each a map from text to variant. They are kept compact: the rows of one set of
// keys share the keys, a whole number or a text takes 8 bytes and a text that rows share is kept once. A
// row becomes a QVariantMap only when it is read as one; a file of a million activity changes would
// otherwise take gigabytes.
class DatasetRows
{
public:
    // A value of a row as it is given: a whole number and a text are kept without a QVariant.
    class Value
    {
    public:
        Value(int number)
            : m_number(number)
            , m_kind(Int)
        {
        }
        Value(const QString& text)
            : m_text(&text)
            , m_kind(String)
        {
        }
        template <typename T,
                  std::enable_if_t<!std::is_same_v<T, int> && !std::is_convertible_v<T, QString>, int> = 0>
        Value(const T& value)
            : m_variant(value)
            , m_kind(Other)
        {
        }

    private:
        friend class DatasetRows;
        int m_number = 0;
        const QString* m_text = nullptr; // lives as long as the row's entries do
        QVariant m_variant;
        quint64 m_kind;
    };
    using Entry = std::pair<QString, Value>;

    class const_iterator
    {
    public:
        using iterator_category = std::random_access_iterator_tag;
        using value_type = QVariantMap;
        using difference_type = qsizetype;
        using pointer = void;
        using reference = QVariantMap;

        const_iterator() = default;
        const_iterator(const DatasetRows* rows, qsizetype index)
            : m_rows(rows)
            , m_index(index)
        {
        }
        QVariantMap operator*() const { return m_rows->at(m_index); }
        const_iterator& operator++()
        {
            ++m_index;
            return *this;
        }
        const_iterator operator++(int) { return {m_rows, m_index++}; }
        const_iterator& operator--()
        {
            --m_index;
            return *this;
        }
        const_iterator& operator+=(qsizetype n)
        {
            m_index += n;
            return *this;
        }
        const_iterator operator+(qsizetype n) const { return {m_rows, m_index + n}; }
        const_iterator operator-(qsizetype n) const { return {m_rows, m_index - n}; }
        qsizetype operator-(const const_iterator& other) const { return m_index - other.m_index; }
        bool operator==(const const_iterator& other) const { return m_index == other.m_index; }
        bool operator!=(const const_iterator& other) const { return m_index != other.m_index; }
        bool operator<(const const_iterator& other) const { return m_index < other.m_index; }

    private:
        const DatasetRows* m_rows = nullptr;
        qsizetype m_index = 0;
    };
    using iterator = const_iterator;

    DatasetRows() = default;
    DatasetRows(const QList<QVariantMap>& rows);
    DatasetRows(std::initializer_list<QVariantMap> rows)
        : DatasetRows(QList<QVariantMap>(rows))
    {
    }
    QList<QVariantMap> toList() const;
    operator QList<QVariantMap>() const { return toList(); }

    qsizetype size() const { return m_rows.size(); }
    qsizetype count() const { return m_rows.size(); }
    bool isEmpty() const { return m_rows.isEmpty(); }
    QVariantMap at(qsizetype row) const;
    QVariantMap operator[](qsizetype row) const { return at(row); }
    QVariantMap first() const { return at(0); }
    QVariantMap last() const { return at(size() - 1); }
    // One value without making the row's map; invalid when the row has no such key.
    QVariant value(qsizetype row, QStringView key) const;
    DatasetRows mid(qsizetype position, qsizetype length = -1) const;
    const_iterator begin() const { return {this, 0}; }
    const_iterator end() const { return {this, size()}; }
    const_iterator cbegin() const { return begin(); }
    const_iterator cend() const { return end(); }

    void append(const QVariantMap& row);
    // A row from its entries, in any order of keys; a later entry of the same key wins.
    void append(std::initializer_list<Entry> row);
    void reserve(qsizetype rows);
    void clear() { *this = DatasetRows(); }
    void setValue(qsizetype row, const QString& key, const QVariant& value);
    // The rows in the order of these indices.
    void reorder(const QList<qsizetype>& order);
    bool operator==(const DatasetRows& other) const { return toList() == other.toList(); }

    // The entries of a row in the order of their keys: visit(key, int), visit(key, const QString&) or
    // visit(key, const QVariant&) for every other value.
    template <typename Visitor>
    void visit(qsizetype row, Visitor&& visitor) const
    {
        const Row& where = m_rows.at(row);
        const QStringList& keys = m_shapes.at(where.shape);
        for (qsizetype i = 0; i < keys.size(); ++i) {
            const quint64 cell = m_cells.at(where.firstCell + i);
            switch (cell >> kKindShift) {
            case Int:
                visitor(keys.at(i), int(qint32(quint32(cell))));
                break;
            case String:
                visitor(keys.at(i), m_strings.at(qsizetype(cell & kPayload)));
                break;
            case Other:
                visitor(keys.at(i), m_others.at(qsizetype(cell & kPayload)));
                break;
            default:
                break; // no such key in this row
            }
        }
    }

private:
    enum Kind : quint64
    {
        Missing = 0,
        Int = 1,
        String = 2,
        Other = 3
    };
    static constexpr int kKindShift = 62;
    static constexpr quint64 kPayload = (quint64(1) << kKindShift) - 1;
    static constexpr qsizetype kSharedText = 40;

    struct Row
    {
        qsizetype firstCell;
        qsizetype shape;
    };

    quint64 cell(const QVariant& value);
    quint64 text(const QString& text);
    QVariant cellValue(quint64 cell) const;
    qsizetype shapeOf(const QStringList& sortedKeys);

    QList<QStringList> m_shapes; // the sorted keys of each kind of row
    QList<Row> m_rows;
    QList<quint64> m_cells;
    QList<QString> m_strings;
    QHash<const void*, qsizetype> m_stringIndex; // a text shared by rows is one text
    QList<QVariant> m_others;
    // The keys of the last row appended from entries, as given, and where each went in its shape.
    QStringList m_lastKeys;
    QList<qsizetype> m_lastPlaces;
    qsizetype m_lastShape = -1;
    qsizetype m_lastMapShape = -1; // the shape of the last row appended as a map
};

// Everything the decoding of one file found. Rows are maps with stable English keys: the same key is
// the column on the page and in storage.
struct DddReport
{
    QString filePath;
    QString fileName;
    QString sourceFingerprint;
    DddFileType fileType = DddFileType::Unknown;
    int size = 0;
    QString vin;
    QString registrationNumber;
    QString vehicleRegistrationNation;
    QString cardNumber;
    QString driverName;
    QString driverFirstName;
    QString driverSurname;
    QString issuingAuthorityName;
    QString birthDate;
    QString expiryDate;
    QString lastCardDownload;
    QString lastCardDownloadString;
    QString drivingLicenceNumber;
    QString drivingLicenceIssuingAuthority;
    QString drivingLicenceIssuingNation;
    QString dataStartDate;
    QString dataEndDate;
    QString nextCalibrationDate;
    QString vehicleFirstUseDate;
    QString cardWithdrawalTime;
    int asn1Version = 0;
    int totalOverSpeeding = 0;
    int totalCalibrations = 0;
    int totalDays = 0;
    int totalDistanceKm = 0;
    double averageSpeed = 0;
    int maxSpeed = 0;
    int daysWithOverSpeeding = 0;
    int daysWithFaults = 0;
    QStringList printableStrings;
    QList<DddBlock> blocks;
    QString structureText;

    DatasetRows events, faults, activities, activityChanges, vehicles, places, charts, asn1Fields, sections,
        tachoChildSections, dayInformation, cardIwData, tachoEvents, tachoFaults, overSpeedingEvents,
        detailedSpeed, calibrationData, vehicleIdentification, vuIdentification, sensorPaired, activityDaily,
        placeDailyWorkPeriod, specificConditions, downloadActivity, currentDateTime, downloadablePeriod,
        insertedCardType, companyLocks, controlActivity, overSpeedingControl, currentUsage, timeAdjustments,
        cardIcc, cardIc, applicationIdentification, cardIdentification, cardDownload, drivingLicence;

    DddAsn1Identity asn1Identity;
    QVariantMap analysis;

    // The 38 dataset names in their fixed order, and each name's rows.
    static const QStringList& datasetNames();
    const DatasetRows* dataset(const QString& name) const;

    QVariantList blockRows() const;
    QVariantMap summary() const;
};

} // namespace tachoria::ddd
