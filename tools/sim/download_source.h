#pragma once

#include "tools/dddgen/ddd_generator.h"

#include <QByteArray>
#include <QDate>
#include <QString>

namespace tachoria::sim {

// What the simulated unit hands out when it is downloaded: the payload of each block, without the
// 76 and type bytes in front.
class DownloadSource
{
public:
    virtual ~DownloadSource() = default;
    virtual QByteArray overview() const = 0;
    virtual QByteArray activities(const QDate& day) const = 0;
    virtual QByteArray eventsAndFaults() const = 0;
    virtual QByteArray detailedSpeed() const = 0;
    virtual QByteArray technicalData() const = 0;
    virtual QByteArray cryptoCertificate() const = 0;
    virtual QByteArray authorityCertificate() const = 0;
    virtual QByteArray cryptoData(const QDate& begin, const QDate& end) const = 0;
    virtual QByteArray archiveBlock(int index) const = 0;
};

// A small unit of its own, enough for the link and the file name: registration, VIN and the crypto
// module's serial where a real unit keeps them.
class BuiltInDownloadSource : public DownloadSource
{
public:
    BuiltInDownloadSource(QByteArray vin, QByteArray registration, QByteArray skziSerial,
                          int speedBytes = 2400)
        : m_vin(std::move(vin))
        , m_registration(std::move(registration))
        , m_skziSerial(std::move(skziSerial))
        , m_speedBytes(speedBytes)
    {
    }

    QByteArray overview() const override;
    QByteArray activities(const QDate& day) const override;
    QByteArray eventsAndFaults() const override;
    QByteArray detailedSpeed() const override;
    QByteArray technicalData() const override;
    QByteArray cryptoCertificate() const override;
    QByteArray authorityCertificate() const override;
    QByteArray cryptoData(const QDate& begin, const QDate& end) const override;
    QByteArray archiveBlock(int index) const override;

private:
    QByteArray m_vin;
    QByteArray m_registration;
    QByteArray m_skziSerial;
    int m_speedBytes;
};

// A unit that has been driven every day of the last four weeks: the overview, the days, events and
// faults, detailed speed and technical data come from the test-data generator, so that a download gives
// a real vehicle-unit file. The crypto module's blocks stay the built-in ones.
class GeneratedDownloadSource : public BuiltInDownloadSource
{
public:
    static constexpr int kHistoryDays = 28;

    // `registration` as the calibration memory holds it: the code page, then 13 bytes.
    GeneratedDownloadSource(const QByteArray& vin, const QByteArray& registration, QByteArray skziSerial,
                            const QDateTime& now, int speedBytes = 2400);

    // The history served, for those who check a download against it.
    const dddgen::VehicleUnitDescription& unit() const { return m_unit; }

    QByteArray overview() const override;
    QByteArray activities(const QDate& day) const override;
    QByteArray eventsAndFaults() const override;
    QByteArray detailedSpeed() const override;
    QByteArray technicalData() const override;

private:
    dddgen::VehicleUnitDescription m_unit;
};

} // namespace tachoria::sim
