// The inventory of the sub-structures inside the vehicle-unit blocks, for the page's structure tab.
#include "ddd/ddd_decoder.h"
#include "ddd/ddd_fields.h"

namespace tachoria::ddd {

using namespace Qt::StringLiterals;

namespace {

struct ChildWalk
{
    const DddBlock& block;
    DatasetRows& rows;
    qsizetype position = 2;

    qsizetype remaining() const { return block.data.size() - position; }

    // One row, cut to what the block holds; false when the block is used up.
    bool add(const QString& name, qsizetype length, int recordCount, int recordLength)
    {
        if (position >= block.data.size())
            return false;
        length = std::clamp<qsizetype>(length, 0, remaining());
        const QString hex = hexText(block.data, position, length);
        rows.append({{u"fileNumber"_s, block.fileNumber},
                     {u"name"_s, name},
                     {u"fileType"_s, 0},
                     {u"occurrence"_s, block.occurrence},
                     {u"offset"_s, int(block.offset + position)},
                     {u"length"_s, int(length)},
                     {u"recordCount"_s, recordCount},
                     {u"recordLength"_s, recordLength},
                     {u"blockStartPosition"_s, 0},
                     {u"sourceBlock"_s, block.fileNumber},
                     {u"data"_s, QVariantMap{{u"hex"_s, hex}}},
                     {u"payloadHex"_s, hex}});
        position += length;
        return true;
    }

    bool fixed(const QString& name, qsizetype length) { return add(name, length, 1, int(length)); }

    // A count of countBytes, then records of recordLength.
    bool counted(const QString& name, int countBytes, int recordLength)
    {
        if (position >= block.data.size())
            return false;
        const int count = countBytes == 2 ? readBe16(block.data, position) : byteAt(block.data, position);
        return add(name, countBytes + qsizetype(count) * recordLength, count, recordLength);
    }

    void signature()
    {
        if (remaining() == 128)
            add(u"Signature"_s, 128, 1, 128);
    }
};

void walkOverview(ChildWalk& walk)
{
    const bool whole = walk.fixed(u"MemberStateCertificate"_s, 194) && walk.fixed(u"VUCertificate"_s, 194) &&
                       walk.fixed(u"VehicleIdentification"_s, 32) && walk.fixed(u"CurrentDateTime"_s, 4) &&
                       walk.fixed(u"VUDownloadablePeriod"_s, 8) && walk.fixed(u"CardSlotsStatus"_s, 1) &&
                       walk.fixed(u"VUDownloadActivityData"_s, 58) &&
                       walk.counted(u"VUCompanyLocksData"_s, 1, 98) &&
                       walk.counted(u"VUControlActivityData"_s, 1, 31);
    if (whole)
        walk.signature();
}

void walkActivityDay(ChildWalk& walk)
{
    if (!walk.fixed(u"DayInformation"_s, 7) || !walk.counted(u"VUCardIWData"_s, 2, 129) ||
        !walk.counted(u"VUActivityDailyData"_s, 2, 2))
        return;
    if (walk.position >= walk.block.data.size())
        return;
    const int places = byteAt(walk.block.data, walk.position++);
    for (int index = 0; index < places; ++index) {
        if (!walk.add(u"VUPlaceDailyWorkPeriodData"_s, 28, 1, 28))
            return;
    }
    if (walk.counted(u"VUSpecificConditionData"_s, 1, 5))
        walk.signature();
}

void walkEventsAndFaults(ChildWalk& walk)
{
    const bool whole = walk.counted(u"VUFaultData"_s, 1, 82) && walk.counted(u"VUEventData"_s, 1, 83) &&
                       walk.fixed(u"VUOverSpedingControlData"_s, 9) &&
                       walk.counted(u"VUOverSpedingEventData"_s, 1, 31) &&
                       walk.counted(u"VUTimeAdjustmentData"_s, 1, 98);
    if (whole)
        walk.signature();
}

void walkTechnicalData(ChildWalk& walk)
{
    if (!walk.fixed(u"VUIdentification"_s, 116) || !walk.fixed(u"SensorPaired"_s, 20))
        return;
    if (walk.position >= walk.block.data.size())
        return;
    // The count byte is not trusted: records are counted as long as their purpose byte is valid.
    const QByteArray& d = walk.block.data;
    qsizetype end = walk.position + 1;
    int count = 0;
    while (end < d.size() && byteAt(d, end) >= 1 && byteAt(d, end) <= 5) {
        ++count;
        end += 167;
    }
    if (walk.add(u"VUCalibrationData"_s, 1 + qsizetype(count) * 167, count, 167))
        walk.signature();
}

} // namespace

void Decoder::buildTachographChildInventory(DddReport& report)
{
    report.tachoChildSections.clear();
    if (report.fileType != DddFileType::Tachograph)
        return;
    for (const DddBlock& block : std::as_const(report.blocks)) {
        if (block.data.size() <= 1)
            continue;
        ChildWalk walk{block, report.tachoChildSections};
        if (block.fileNumber == u"7601"_s)
            walkOverview(walk);
        else if (block.fileNumber == u"7602"_s)
            walkActivityDay(walk);
        else if (block.fileNumber == u"7603"_s)
            walkEventsAndFaults(walk);
        else if (block.fileNumber == u"7604"_s) {
            if (walk.counted(u"VUDetailedSpeedData"_s, 2, 64))
                walk.signature();
        } else if (block.fileNumber == u"7605"_s)
            walkTechnicalData(walk);
    }
}

} // namespace tachoria::ddd
