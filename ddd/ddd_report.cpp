#include "ddd/ddd_report.h"

#include <map>

namespace tachoria::ddd {

DatasetRows::DatasetRows(const QList<QVariantMap>& rows)
{
    reserve(rows.size());
    for (const QVariantMap& row : rows)
        append(row);
}

QList<QVariantMap> DatasetRows::toList() const
{
    QList<QVariantMap> rows;
    rows.reserve(size());
    for (qsizetype row = 0; row < size(); ++row)
        rows.append(at(row));
    return rows;
}

quint64 DatasetRows::cell(const QVariant& value)
{
    switch (value.typeId()) {
    case QMetaType::Int:
        return quint64(Int) << kKindShift | quint32(value.toInt());
    case QMetaType::QString:
        return text(*static_cast<const QString*>(value.constData()));
    default:
        m_others.append(value);
        return quint64(Other) << kKindShift | quint64(m_others.size() - 1);
    }
}

quint64 DatasetRows::text(const QString& text)
{
    // Short texts are the ones rows share (names of activities, times, days); long ones are each a
    // row's own bytes in hexadecimal and are not looked up.
    if (text.size() > kSharedText) {
        m_strings.append(text);
        return quint64(String) << kKindShift | quint64(m_strings.size() - 1);
    }
    auto found = m_stringIndex.constFind(text.constData());
    if (found == m_stringIndex.cend()) {
        found = m_stringIndex.insert(text.constData(), m_strings.size());
        m_strings.append(text);
    }
    return quint64(String) << kKindShift | quint64(*found);
}

QVariant DatasetRows::cellValue(quint64 cell) const
{
    switch (cell >> kKindShift) {
    case Int:
        return int(qint32(quint32(cell)));
    case String:
        return m_strings.at(qsizetype(cell & kPayload));
    case Other:
        return m_others.at(qsizetype(cell & kPayload));
    default:
        return QVariant();
    }
}

qsizetype DatasetRows::shapeOf(const QStringList& sortedKeys)
{
    qsizetype shape = m_shapes.indexOf(sortedKeys);
    if (shape < 0) {
        shape = m_shapes.size();
        m_shapes.append(sortedKeys);
    }
    return shape;
}

namespace {

// Keys are mostly the same literals over and over: the same text at the same place is equal at once.
bool sameKey(const QString& a, const QString& b)
{
    return (a.constData() == b.constData() && a.size() == b.size()) || a == b;
}

} // namespace

void DatasetRows::append(const QVariantMap& row)
{
    // The shape of the last row appended serves when the keys are the same.
    bool same = m_lastMapShape >= 0 && m_shapes.at(m_lastMapShape).size() == row.size();
    qsizetype index = 0;
    for (auto it = row.cbegin(); same && it != row.cend(); ++it)
        same = sameKey(it.key(), m_shapes.at(m_lastMapShape).at(index++));
    if (!same)
        m_lastMapShape = shapeOf(row.keys());
    const qsizetype shape = m_lastMapShape;
    m_rows.append({m_cells.size(), shape});
    for (auto it = row.cbegin(); it != row.cend(); ++it)
        m_cells.append(cell(it.value()));
}

void DatasetRows::append(std::initializer_list<Entry> row)
{
    // Rows of one kind come with the same keys in the same order: the places found for the last one serve
    // again without sorting anything.
    bool same = qsizetype(row.size()) == m_lastKeys.size();
    for (qsizetype i = 0; same && i < m_lastKeys.size(); ++i)
        same = sameKey((row.begin() + i)->first, m_lastKeys.at(i));
    if (!same) {
        QMap<QString, qsizetype> sorted;
        for (const Entry& entry : row)
            sorted.insert(entry.first, 0);
        m_lastShape = shapeOf(sorted.keys());
        m_lastKeys.clear();
        m_lastPlaces.clear();
        for (const Entry& entry : row) {
            m_lastKeys.append(entry.first);
            m_lastPlaces.append(std::distance(sorted.begin(), sorted.find(entry.first)));
        }
    }
    const qsizetype first = m_cells.size();
    m_rows.append({first, m_lastShape});
    m_cells.resize(first + m_shapes.at(m_lastShape).size());
    qsizetype index = 0;
    for (const Entry& entry : row) {
        const Value& value = entry.second;
        quint64& target = m_cells[first + m_lastPlaces.at(index++)];
        if (value.m_kind == Int)
            target = quint64(Int) << kKindShift | quint32(value.m_number);
        else if (value.m_kind == String)
            target = text(*value.m_text);
        else
            target = cell(value.m_variant);
    }
}

void DatasetRows::reserve(qsizetype rows)
{
    m_rows.reserve(rows);
}

QVariantMap DatasetRows::at(qsizetype row) const
{
    std::map<QString, QVariant> map;
    visit(row, [&map](const QString& key, const auto& value) {
        map.emplace_hint(map.end(), key, QVariant(value));
    });
    return QVariantMap(std::move(map));
}

QVariant DatasetRows::value(qsizetype row, QStringView key) const
{
    // A row has a handful of keys: comparing lengths first finds one faster than any search.
    const Row& where = m_rows.at(row);
    const QStringList& keys = m_shapes.at(where.shape);
    for (qsizetype i = 0; i < keys.size(); ++i) {
        if (keys.at(i).size() == key.size() && QStringView(keys.at(i)) == key)
            return cellValue(m_cells.at(where.firstCell + i));
    }
    return QVariant();
}

DatasetRows DatasetRows::mid(qsizetype position, qsizetype length) const
{
    DatasetRows rows;
    const qsizetype end = length < 0 ? size() : std::min(size(), position + length);
    for (qsizetype row = std::max<qsizetype>(position, 0); row < end; ++row)
        rows.append(at(row));
    return rows;
}

void DatasetRows::setValue(qsizetype row, const QString& key, const QVariant& value)
{
    QVariantMap map = at(row);
    map.insert(key, value);
    const qsizetype shape = shapeOf(map.keys());
    if (shape == m_rows.at(row).shape) {
        qsizetype index = 0;
        for (auto it = map.cbegin(); it != map.cend(); ++it, ++index) {
            if (it.key() == key)
                m_cells[m_rows.at(row).firstCell + index] = cell(value);
        }
        return;
    }
    m_rows[row] = {m_cells.size(), shape}; // a row of new keys moves behind the others
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        m_cells.append(cell(it.value()));
}

void DatasetRows::reorder(const QList<qsizetype>& order)
{
    QList<Row> rows;
    rows.reserve(order.size());
    for (const qsizetype index : order)
        rows.append(m_rows.at(index));
    m_rows = std::move(rows);
}

const QStringList& DddReport::datasetNames()
{
    static const QStringList names = {
        QStringLiteral("events"),
        QStringLiteral("faults"),
        QStringLiteral("activities"),
        QStringLiteral("activityChanges"),
        QStringLiteral("vehicles"),
        QStringLiteral("places"),
        QStringLiteral("charts"),
        QStringLiteral("asn1Fields"),
        QStringLiteral("sections"),
        QStringLiteral("tachoChildSections"),
        QStringLiteral("dayInformation"),
        QStringLiteral("cardIwData"),
        QStringLiteral("tachoEvents"),
        QStringLiteral("tachoFaults"),
        QStringLiteral("overSpeedingEvents"),
        QStringLiteral("detailedSpeed"),
        QStringLiteral("calibrationData"),
        QStringLiteral("vehicleIdentification"),
        QStringLiteral("vuIdentification"),
        QStringLiteral("sensorPaired"),
        QStringLiteral("activityDaily"),
        QStringLiteral("placeDailyWorkPeriod"),
        QStringLiteral("specificConditions"),
        QStringLiteral("downloadActivity"),
        QStringLiteral("currentDateTime"),
        QStringLiteral("downloadablePeriod"),
        QStringLiteral("insertedCardType"),
        QStringLiteral("companyLocks"),
        QStringLiteral("controlActivity"),
        QStringLiteral("overSpeedingControl"),
        QStringLiteral("currentUsage"),
        QStringLiteral("timeAdjustments"),
        QStringLiteral("cardIcc"),
        QStringLiteral("cardIc"),
        QStringLiteral("applicationIdentification"),
        QStringLiteral("cardIdentification"),
        QStringLiteral("cardDownload"),
        QStringLiteral("drivingLicence"),
    };
    return names;
}

const DatasetRows* DddReport::dataset(const QString& name) const
{
    const DatasetRows* const all[] = {
        &events,
        &faults,
        &activities,
        &activityChanges,
        &vehicles,
        &places,
        &charts,
        &asn1Fields,
        &sections,
        &tachoChildSections,
        &dayInformation,
        &cardIwData,
        &tachoEvents,
        &tachoFaults,
        &overSpeedingEvents,
        &detailedSpeed,
        &calibrationData,
        &vehicleIdentification,
        &vuIdentification,
        &sensorPaired,
        &activityDaily,
        &placeDailyWorkPeriod,
        &specificConditions,
        &downloadActivity,
        &currentDateTime,
        &downloadablePeriod,
        &insertedCardType,
        &companyLocks,
        &controlActivity,
        &overSpeedingControl,
        &currentUsage,
        &timeAdjustments,
        &cardIcc,
        &cardIc,
        &applicationIdentification,
        &cardIdentification,
        &cardDownload,
        &drivingLicence,
    };
    const qsizetype index = datasetNames().indexOf(name);
    return index < 0 ? nullptr : all[index];
}

QVariantMap DddReport::summary() const
{
    const QString typeText = fileType == DddFileType::DriverCard ? QStringLiteral("Карта водителя")
                             : fileType == DddFileType::Tachograph ? QStringLiteral("Тахограф")
                                                                   : QStringLiteral("Неизвестный формат");
    QVariantMap map{
        {QStringLiteral("fileName"), fileName},
        {QStringLiteral("filePath"), filePath},
        {QStringLiteral("fileType"), typeText},
        {QStringLiteral("size"), size},
        {QStringLiteral("blockCount"), blocks.size()},
        {QStringLiteral("vin"), vin},
        {QStringLiteral("registrationNumber"), registrationNumber},
        {QStringLiteral("vehicleRegistrationNation"), vehicleRegistrationNation},
        {QStringLiteral("cardNumber"), cardNumber},
        {QStringLiteral("driverName"), driverName},
        {QStringLiteral("driverFirstName"), driverFirstName},
        {QStringLiteral("driverSurname"), driverSurname},
        {QStringLiteral("issuingAuthorityName"), issuingAuthorityName},
        {QStringLiteral("birthDate"), birthDate},
        {QStringLiteral("expiryDate"), expiryDate},
        {QStringLiteral("lastCardDownload"), lastCardDownload},
        {QStringLiteral("lastCardDownloadString"), lastCardDownloadString},
        {QStringLiteral("drivingLicenceNumber"), drivingLicenceNumber},
        {QStringLiteral("drivingLicenceIssuingAuthority"), drivingLicenceIssuingAuthority},
        {QStringLiteral("drivingLicenceIssuingNation"), drivingLicenceIssuingNation},
        {QStringLiteral("dataStartDate"), dataStartDate},
        {QStringLiteral("dataEndDate"), dataEndDate},
        {QStringLiteral("nextCalibrationDate"), nextCalibrationDate},
        {QStringLiteral("vehicleFirstUseDate"), vehicleFirstUseDate},
        {QStringLiteral("cardWithdrawalTime"), cardWithdrawalTime},
        {QStringLiteral("asn1Version"), asn1Version},
        {QStringLiteral("asn1Identity"),
         QVariantMap{{QStringLiteral("version"), asn1Identity.version},
                     {QStringLiteral("vin"), asn1Identity.vin},
                     {QStringLiteral("registrationNumber"), asn1Identity.registrationNumber},
                     {QStringLiteral("vehicleFirstUseDate"), asn1Identity.vehicleFirstUseDate},
                     {QStringLiteral("driverSurname"), asn1Identity.driverSurname},
                     {QStringLiteral("driverFirstName"), asn1Identity.driverFirstName},
                     {QStringLiteral("cardNumber"), asn1Identity.cardNumber},
                     {QStringLiteral("dataStartDate"), asn1Identity.dataStartDate},
                     {QStringLiteral("dataEndDate"), asn1Identity.dataEndDate},
                     {QStringLiteral("cardWithdrawalTime"), asn1Identity.cardWithdrawalTime}}},
        {QStringLiteral("eventCount"), events.size()},
        {QStringLiteral("faultCount"), faults.size()},
        {QStringLiteral("activityCount"), activities.size()},
        {QStringLiteral("activityChangeCount"), activityChanges.size()},
        {QStringLiteral("vehicleCount"), vehicles.size()},
        {QStringLiteral("placeCount"), places.size()},
        {QStringLiteral("dayInformationCount"), dayInformation.size()},
        {QStringLiteral("cardIwCount"), cardIwData.size()},
        {QStringLiteral("tachoEventCount"), tachoEvents.size()},
        {QStringLiteral("tachoFaultCount"), tachoFaults.size()},
        {QStringLiteral("overSpeedingCount"), overSpeedingEvents.size()},
        {QStringLiteral("detailedSpeedCount"), detailedSpeed.size()},
        {QStringLiteral("calibrationCount"), calibrationData.size()},
        {QStringLiteral("activityDailyCount"), activityDaily.size()},
        {QStringLiteral("placeDailyWorkPeriodCount"), placeDailyWorkPeriod.size()},
        {QStringLiteral("specificConditionCount"), specificConditions.size()},
        {QStringLiteral("companyLockCount"), companyLocks.size()},
        {QStringLiteral("controlActivityCount"), controlActivity.size()},
        {QStringLiteral("totalOverSpeeding"), totalOverSpeeding},
        {QStringLiteral("totalCalibrations"), totalCalibrations},
        {QStringLiteral("totalDays"), totalDays},
        {QStringLiteral("totalDistanceKm"), totalDistanceKm},
        {QStringLiteral("averageSpeed"), averageSpeed},
        {QStringLiteral("maxSpeed"), maxSpeed},
        {QStringLiteral("daysWithOverSpeeding"), daysWithOverSpeeding},
        {QStringLiteral("daysWithFaults"), daysWithFaults},
        {QStringLiteral("asn1FieldCount"), asn1Fields.size()},
        {QStringLiteral("complianceScore"),
         analysis.value(QStringLiteral("compliance")).toMap().value(QStringLiteral("overallScore"))},
    };
    map.insert(
        QStringLiteral("formatNote"),
        fileType == DddFileType::Tachograph
            ? QStringLiteral("Разобраны секции тахографа 7601–7605/7681–7685, цифровые подписи, ASN.1/BER и "
                             "доступные расчёты активности, расстояния, скорости и нарушений.")
            : QStringLiteral(
                  "Разобраны ASN.1/BER и доступные блоки карты ICC/IC, идентификации, событий, "
                  "неисправностей, активности, автомобилей, мест и дополнительных данных; рассчитаны "
                  "рабочее время, лимиты и нарушения."));
    return map;
}

QVariantList DddReport::blockRows() const
{
    const bool card = fileType == DddFileType::DriverCard;
    QVariantList rows;
    for (const DddBlock& block : blocks) {
        const QString hex = QString::fromLatin1(block.data.toHex().toUpper());
        QVariantMap row;
        row.insert(QStringLiteral("fileNumber"), block.fileNumber);
        row.insert(QStringLiteral("name"), block.name);
        row.insert(QStringLiteral("occurrence"), card ? 0 : block.occurrence);
        row.insert(QStringLiteral("offset"), block.offset);
        row.insert(QStringLiteral("length"), block.length);
        row.insert(QStringLiteral("recordCount"), card ? 0 : block.recordCount);
        row.insert(QStringLiteral("recordLength"), card ? 0 : block.recordLength);
        row.insert(QStringLiteral("blockStartPosition"), 0);
        row.insert(QStringLiteral("fileType"), block.fileType);
        row.insert(QStringLiteral("description"),
                   card ? QStringLiteral("Найден по структурированному формату") : QString());
        row.insert(QStringLiteral("data"),
                   QVariantMap{{QStringLiteral("length"), block.length}, {QStringLiteral("hex"), hex}});
        row.insert(QStringLiteral("payloadHex"), hex);
        rows.append(row);
    }
    return rows;
}

} // namespace tachoria::ddd
