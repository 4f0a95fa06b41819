#include "sim_options.h"

#include <QCommandLineParser>
#include <QDir>
#include <QRegularExpression>

namespace tachoria::sim {

namespace {

bool parseByte(const QString& text, quint8& out)
{
    bool ok = false;
    const uint value = text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive) ? text.mid(2).toUInt(&ok, 16)
                                                                                 : text.toUInt(&ok, 10);
    if (!ok || value > 0xFF)
        return false;
    out = static_cast<quint8>(value);
    return true;
}

bool parseHex(const QString& text, int bytes, QByteArray& out)
{
    QString compact = text;
    compact.remove(QLatin1Char(' '));
    static const QRegularExpression hex(QStringLiteral("^[0-9A-Fa-f]*$"));
    if (!hex.match(compact).hasMatch() || compact.size() % 2 != 0 ||
        (bytes > 0 && compact.size() != bytes * 2))
        return false;
    out = QByteArray::fromHex(compact.toLatin1());
    return true;
}

bool parseIdentifiers(const QString& text, QSet<quint16>& out)
{
    for (const QString& item : text.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        QString hex = item.trimmed();
        if (hex.startsWith(QLatin1String("0x"), Qt::CaseInsensitive))
            hex = hex.mid(2);
        bool ok = false;
        const uint did = hex.toUInt(&ok, 16);
        if (!ok || did > 0xFFFF)
            return false;
        out.insert(static_cast<quint16>(did));
    }
    return true;
}

bool parseSkziStatus(const QString& text, quint8& out)
{
    static const QList<std::pair<QString, quint8>> names = {
        {QStringLiteral("active"), 0x0F},
        {QStringLiteral("inactive"), 0x01},
        {QStringLiteral("expired"), 0x1F},
        {QStringLiteral("faulty"), 0x02},
    };
    for (const auto& [name, value] : names) {
        if (text.compare(name, Qt::CaseInsensitive) == 0) {
            out = value;
            return true;
        }
    }
    return parseByte(text, out);
}

} // namespace

bool parseSimOptions(const QStringList& arguments, SimOptions& options, QString* error)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Tachograph simulator: serves a tachograph's side of the service link on a pseudo-terminal.\n"
        "Point Tachoria at the link path as at any serial port, e.g.\n"
        "  tachoria-sim --link /tmp/tacho &   then   tachoria --probe-port /tmp/tacho\n"
        "The line prints 'READY <path>' when a client can open it; SIGTERM or Ctrl+C stops it."));
    parser.addHelpOption();
    parser.addVersionOption();
    const DeviceIdentity defaults;
    const QString defaultLink = QDir::temp().filePath(QStringLiteral("tachoria-sim"));

    const QCommandLineOption link(QStringLiteral("link"), QStringLiteral("Path of the link to the line."),
                                  QStringLiteral("path"), defaultLink);
    const QCommandLineOption partNumber(
        QStringLiteral("part-number"),
        QStringLiteral("Part number the device reports (16 characters at most)."), QStringLiteral("text"),
        defaults.partNumber);
    const QCommandLineOption serial(QStringLiteral("serial"),
                                    QStringLiteral("Serial number, 8 bytes in hex."), QStringLiteral("hex"),
                                    QString::fromLatin1(defaults.serialNumber.toHex().toUpper()));
    const QCommandLineOption software(
        QStringLiteral("software"), QStringLiteral("Software version as shown to the user, 4 bytes in hex."),
        QStringLiteral("hex"), QString::fromLatin1(defaults.softwareVersion.toHex().toUpper()));
    const QCommandLineOption skziNumber(
        QStringLiteral("skzi-number"),
        QStringLiteral("Number of the crypto module, two 16-character halves joined by '-'."),
        QStringLiteral("first-second"),
        QString::fromLatin1(defaults.skziFirstHalf + '-' + defaults.skziSecondHalf));
    const QCommandLineOption skziStatus(
        QStringLiteral("skzi-status"),
        QStringLiteral(
            "Crypto module status: active (0x0F), inactive (0x01), expired (0x1F), faulty (0x02) or a byte."),
        QStringLiteral("status"), QStringLiteral("active"));
    const QCommandLineOption mode(QStringLiteral("mode"),
                                  QStringLiteral("Mode byte (2: card slots are reported)."),
                                  QStringLiteral("n"), QString::number(defaults.mode));
    const QCommandLineOption card(QStringLiteral("card"),
                                  QStringLiteral("Card in the left or right slot, or none."),
                                  QStringLiteral("left|right|none"), QStringLiteral("left"));
    const QCommandLineOption cardType(QStringLiteral("card-type"),
                                      QStringLiteral("Type byte of the inserted card (2: master card)."),
                                      QStringLiteral("n"), QString::number(defaults.cardType));
    const QCommandLineOption cardNumber(
        QStringLiteral("card-number"), QStringLiteral("Number of the inserted card (16 characters at most)."),
        QStringLiteral("text"), QString::fromLatin1(defaults.cardNumber));
    const QCommandLineOption bauds(
        QStringLiteral("bauds"), QStringLiteral("Line speeds the device understands."),
        QStringLiteral("list"), QStringLiteral("9600,10400,19200,38400,57600,115200"));
    const QCommandLineOption noPace(QStringLiteral("no-pace"),
                                    QStringLiteral("Send answers at once instead of at the line's speed."));
    const QCommandLineOption noise(QStringLiteral("noise"),
                                   QStringLiteral("Fault: these bytes before every answer."),
                                   QStringLiteral("hex"));
    const QCommandLineOption echo(QStringLiteral("echo"),
                                  QStringLiteral("Fault: echo every request, as a K-line does."));
    const QCommandLineOption delay(QStringLiteral("delay"),
                                   QStringLiteral("Fault: wait before every answer."), QStringLiteral("ms"),
                                   QStringLiteral("0"));
    const QCommandLineOption silent(QStringLiteral("silent"), QStringLiteral("Fault: never answer."));
    const QCommandLineOption badChecksum(QStringLiteral("bad-checksum"),
                                         QStringLiteral("Fault: a wrong checksum on every answer."));
    const QCommandLineOption zeroLength(
        QStringLiteral("zero-length-frame"),
        QStringLiteral("Fault: a frame header with length 0 before every answer."));
    const QCommandLineOption state(
        QStringLiteral("state"),
        QStringLiteral("Calibration memory file (JSON): loaded at start when it exists, "
                       "saved after every write, with the order of writes."),
        QStringLiteral("file"));
    const QCommandLineOption refuse(
        QStringLiteral("refuse"),
        QStringLiteral("Identifiers (hex) the device refuses to read, e.g. F103,FD0F."),
        QStringLiteral("list"));
    const QCommandLineOption refuseWrite(QStringLiteral("refuse-write"),
                                         QStringLiteral("Identifiers (hex) the device refuses to write."),
                                         QStringLiteral("list"));
    const QCommandLineOption refuseSession(
        QStringLiteral("refuse-session"),
        QStringLiteral("Diagnostic sessions (hex) the device refuses, e.g. 87."), QStringLiteral("list"));
    const QCommandLineOption pulses(QStringLiteral("pulse-count"),
                                    QStringLiteral("What the pulse counter shows once started."),
                                    QStringLiteral("n"), QString::number(DeviceBehaviour().pulseCount));
    const QCommandLineOption speedSource(QStringLiteral("speed-source"),
                                         QStringLiteral("Source code the speed-source search settles on."),
                                         QStringLiteral("n"), QString::number(DeviceBehaviour().speedSource));
    const QCommandLineOption speedMasks(
        QStringLiteral("speed-masks"),
        QStringLiteral("Masks of the speed sources seen after each read of the search, - for a read answered "
                       "for another identifier, e.g. 2,6,14,-,15."),
        QStringLiteral("list"), QStringLiteral("1,3,7,15"));
    const QCommandLineOption canResult(
        QStringLiteral("can-result"),
        QStringLiteral("Outcome of CAN speed detection: found, not-found, refused or garbled."),
        QStringLiteral("outcome"), QStringLiteral("found"));
    const QCommandLineOption canSpeed(QStringLiteral("can-speed"),
                                      QStringLiteral("Detected CAN speed code, 0 to 7."), QStringLiteral("n"),
                                      QString::number(DeviceBehaviour().canSpeedCode));
    const QCommandLineOption canIdType(QStringLiteral("can-id-type"),
                                       QStringLiteral("Detected CAN identifier code, 0 or 1."),
                                       QStringLiteral("n"), QStringLiteral("0"));
    const QCommandLineOption adapterLink(
        QStringLiteral("adapter-link"),
        QStringLiteral("Also serve the external adapter on a second line at this path."),
        QStringLiteral("path"));
    const QCommandLineOption adapterPulses(QStringLiteral("adapter-pulses"),
                                           QStringLiteral("What the adapter's pulse counter shows."),
                                           QStringLiteral("n"), QStringLiteral("32000"));
    const QCommandLineOption noKLineEcho(QStringLiteral("no-kline-echo"),
                                         QStringLiteral("The adapter's K-line does not echo requests."));
    const QCommandLineOption maxLinkBaud(QStringLiteral("max-link-baud"),
                                         QStringLiteral("Refuse LinkControl (0x31) above this speed."),
                                         QStringLiteral("baud"), QStringLiteral("0"));
    const QCommandLineOption pending(
        QStringLiteral("pending"),
        QStringLiteral("Answer 'response pending' this many times before each block."), QStringLiteral("n"),
        QStringLiteral("0"));
    const QCommandLineOption silentAfter(QStringLiteral("silent-after"),
                                         QStringLiteral("Fault: stop answering after this many requests."),
                                         QStringLiteral("n"), QStringLiteral("-1"));
    const QCommandLineOption archiveBytes(QStringLiteral("archive-bytes"),
                                          QStringLiteral("Cut each archive block to this many bytes."),
                                          QStringLiteral("n"), QStringLiteral("-1"));
    const QCommandLineOption archiveBlocks(QStringLiteral("archive-blocks"),
                                           QStringLiteral("Blocks in the crypto module's archive."),
                                           QStringLiteral("n"), QStringLiteral("3"));
    const QCommandLineOption nkmCounter(
        QStringLiteral("nkm-counter"),
        QStringLiteral("Answer to the crypto module's block counter: known, zero, "
                       "refused, malformed or silent."),
        QStringLiteral("answer"), QStringLiteral("known"));
    const QCommandLineOption pendingPause(
        QStringLiteral("pending-pause-ms"),
        QStringLiteral("Each block comes after a 'response pending' and this long."), QStringLiteral("ms"),
        QStringLiteral("0"));
    const QCommandLineOption archivePending(
        QStringLiteral("archive-pending-ms"),
        QStringLiteral("Each archive answer comes after a 'response pending' and this long."),
        QStringLiteral("ms"), QStringLiteral("0"));
    const QCommandLineOption refuseService(
        QStringLiteral("refuse-service"),
        QStringLiteral("Services (hex) answered 'conditions not correct', e.g. 35,37."),
        QStringLiteral("list"));
    const QCommandLineOption refuseBlock(
        QStringLiteral("refuse-block"),
        QStringLiteral("TransferData types (hex) answered 'request out of range', e.g. 03,85."),
        QStringLiteral("list"));
    const QCommandLineOption moduleCard(
        QStringLiteral("module-card"),
        QStringLiteral("The crypto module already holds this workshop card, authenticated (16 characters "
                       "at most), so that its data can be downloaded."),
        QStringLiteral("number"));
    const QCommandLineOption nkmKeys(
        QStringLiteral("nkm-keys"),
        QStringLiteral("The crypto module's key identifiers: current, authority and previous authority, "
                       "48 bytes in hex."),
        QStringLiteral("hex"), QString::fromLatin1(DeviceBehaviour().nkmKeys.toHex().toUpper()));
    const QCommandLineOption nkmReply(
        QStringLiteral("nkm-reply"),
        QStringLiteral("Fault: the crypto module answers this command code with these data bytes (length, "
                       "status, reply) instead, e.g. 4A=020033; may be repeated."),
        QStringLiteral("code=hex"));
    const QCommandLineOption segmentBytes(
        QStringLiteral("segment-bytes"),
        QStringLiteral("Payload bytes of a full segment of a long block, 251 at least."), QStringLiteral("n"),
        QStringLiteral("1021"));
    const QCommandLineOption speedBytes(QStringLiteral("speed-block-bytes"),
                                        QStringLiteral("Size of the detailed-speed block a download gets."),
                                        QStringLiteral("n"), QStringLiteral("2400"));
    const QCommandLineOption record(
        QStringLiteral("record"),
        QStringLiteral("Append every frame received and sent to this file, one a line: milliseconds since "
                       "the start, line, rx or tx (service frames) or cmd or ans (the adapter's), baud, "
                       "SID and data in hex."),
        QStringLiteral("file"));
    const QCommandLineOption frozenClock(
        QStringLiteral("frozen-clock"),
        QStringLiteral("The unit's clock stands still at this UTC moment (ISO 8601), so that its downloads "
                       "come out the same byte for byte."),
        QStringLiteral("time"));
    const QCommandLineOption sleepy(
        QStringLiteral("sleepy-starts"),
        QStringLiteral("Sleep through this many StartCommunication requests before waking up."),
        QStringLiteral("n"), QStringLiteral("0"));
    const QCommandLineOption slowService(
        QStringLiteral("slow-service"),
        QStringLiteral("Fault: wait before every answer to this service, e.g. 22=2500; may be repeated."),
        QStringLiteral("sid=ms"));
    const QCommandLineOption verbose(QStringLiteral("verbose"),
                                     QStringLiteral("Print every request and answer on standard error."));
    parser.addOptions({link,        partNumber,   serial,         software,      skziNumber,    skziStatus,
                       mode,        card,         cardType,       cardNumber,    bauds,         noPace,
                       noise,       echo,         delay,          silent,        badChecksum,   zeroLength,
                       state,       refuse,       refuseWrite,    refuseSession, pulses,        speedSource,
                       canResult,   canSpeed,     canIdType,      adapterLink,   adapterPulses, noKLineEcho,
                       maxLinkBaud, pending,      silentAfter,    archiveBlocks, nkmCounter,    nkmKeys,
                       nkmReply,    pendingPause, archivePending, refuseService, refuseBlock,   moduleCard,
                       speedBytes,  record,       sleepy,         slowService,   frozenClock,   segmentBytes,
                       speedMasks,  archiveBytes, verbose});
    FirmwareModel::addOptions(parser);
    parser.process(arguments); // --help, --version and unknown options end the process here

    const auto fail = [error](const QString& text) {
        if (error)
            *error = text;
        return false;
    };

    options.linkPath = parser.value(link);
    DeviceIdentity& id = options.identity;
    id.partNumber = parser.value(partNumber);
    if (id.partNumber.size() > 16)
        return fail(QStringLiteral("--part-number: at most 16 characters"));
    if (!parseHex(parser.value(serial), 8, id.serialNumber))
        return fail(QStringLiteral("--serial: expected 8 bytes in hex, e.g. 2505001800001234"));
    if (!parseHex(parser.value(software), 4, id.softwareVersion))
        return fail(QStringLiteral("--software: expected 4 bytes in hex, e.g. 02050189"));
    const QStringList halves = parser.value(skziNumber).split(QLatin1Char('-'));
    if (halves.size() != 2 || halves[0].toUtf8().size() > 16 || halves[1].toUtf8().size() > 16)
        return fail(
            QStringLiteral("--skzi-number: expected two halves of at most 16 characters joined by '-'"));
    id.skziFirstHalf = halves[0].toUtf8();
    id.skziSecondHalf = halves[1].toUtf8();
    if (!parseSkziStatus(parser.value(skziStatus), id.skziStatus))
        return fail(QStringLiteral("--skzi-status: expected active, inactive, expired, faulty or a byte"));
    if (!parseByte(parser.value(mode), id.mode))
        return fail(QStringLiteral("--mode: expected a byte"));
    const QString slot = parser.value(card).toLower();
    if (slot == QLatin1String("left"))
        id.cardSlot = CardSlot::Left;
    else if (slot == QLatin1String("right"))
        id.cardSlot = CardSlot::Right;
    else if (slot == QLatin1String("none"))
        id.cardSlot = CardSlot::None;
    else
        return fail(QStringLiteral("--card: expected left, right or none"));
    if (!parseByte(parser.value(cardType), id.cardType))
        return fail(QStringLiteral("--card-type: expected a byte"));
    id.cardNumber = parser.value(cardNumber).toLatin1();
    if (id.cardNumber.size() > 16)
        return fail(QStringLiteral("--card-number: at most 16 characters"));

    options.bauds.clear();
    for (const QString& item : parser.value(bauds).split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        bool ok = false;
        const int value = item.trimmed().toInt(&ok);
        if (!ok || value <= 0)
            return fail(QStringLiteral("--bauds: '%1' is not a speed").arg(item));
        options.bauds.append(value);
    }
    options.paced = !parser.isSet(noPace);
    options.verbose = parser.isSet(verbose);

    DeviceBehaviour& behaviour = options.behaviour;
    if (!FirmwareModel::parseOptions(parser, behaviour.firmware, error))
        return false;
    behaviour.statePath = parser.value(state);
    if (!parseIdentifiers(parser.value(refuse), behaviour.refusedReads))
        return fail(QStringLiteral("--refuse: expected identifiers in hex separated by commas"));
    if (!parseIdentifiers(parser.value(refuseWrite), behaviour.refusedWrites))
        return fail(QStringLiteral("--refuse-write: expected identifiers in hex separated by commas"));
    QSet<quint16> sessions;
    if (!parseIdentifiers(parser.value(refuseSession), sessions))
        return fail(QStringLiteral("--refuse-session: expected session bytes in hex, e.g. 87"));
    for (quint16 session : sessions)
        behaviour.refusedSessions.insert(static_cast<quint8>(session));
    bool number = false;
    behaviour.pulseCount = parser.value(pulses).toUInt(&number);
    if (!number)
        return fail(QStringLiteral("--pulse-count: expected a number"));
    if (!parseByte(parser.value(speedSource), behaviour.speedSource))
        return fail(QStringLiteral("--speed-source: expected a byte"));
    behaviour.speedMasks.clear();
    for (const QString& item : parser.value(speedMasks).split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        quint8 mask = 0;
        if (item.trimmed() != QLatin1String("-") && !parseByte(item.trimmed(), mask))
            return fail(
                QStringLiteral("--speed-masks: expected bytes or - separated by commas, e.g. 1,3,-,7,15"));
        behaviour.speedMasks.append(item.trimmed() == QLatin1String("-") ? -1 : mask);
    }
    const QString outcome = parser.value(canResult).toLower();
    if (outcome == QLatin1String("found"))
        behaviour.canOutcome = CanOutcome::Found;
    else if (outcome == QLatin1String("not-found"))
        behaviour.canOutcome = CanOutcome::NotFound;
    else if (outcome == QLatin1String("refused"))
        behaviour.canOutcome = CanOutcome::Refused;
    else if (outcome == QLatin1String("garbled"))
        behaviour.canOutcome = CanOutcome::Garbled;
    else
        return fail(QStringLiteral("--can-result: expected found, not-found, refused or garbled"));
    if (!parseByte(parser.value(canSpeed), behaviour.canSpeedCode) || behaviour.canSpeedCode > 7)
        return fail(QStringLiteral("--can-speed: expected 0 to 7"));
    if (!parseByte(parser.value(canIdType), behaviour.canIdentifierCode) || behaviour.canIdentifierCode > 1)
        return fail(QStringLiteral("--can-id-type: expected 0 or 1"));
    const auto integer = [&parser](const QCommandLineOption& option, int minimum, int& out) {
        bool ok = false;
        out = parser.value(option).toInt(&ok);
        return ok && out >= minimum;
    };
    if (!integer(maxLinkBaud, 0, behaviour.maxLinkBaud))
        return fail(QStringLiteral("--max-link-baud: expected a speed"));
    if (!integer(pending, 0, behaviour.pendingReplies))
        return fail(QStringLiteral("--pending: expected a count"));
    if (!integer(silentAfter, -1, behaviour.silentAfterRequests))
        return fail(QStringLiteral("--silent-after: expected a count"));
    if (!integer(speedBytes, 0, behaviour.speedBlockBytes))
        return fail(QStringLiteral("--speed-block-bytes: expected a size"));
    if (!integer(segmentBytes, 251, behaviour.segmentBytes))
        return fail(QStringLiteral("--segment-bytes: expected a size of 251 or more"));
    if (!integer(archiveBlocks, 0, behaviour.archiveBlocks))
        return fail(QStringLiteral("--archive-blocks: expected a count"));
    if (!integer(archiveBytes, -1, behaviour.archiveBytes))
        return fail(QStringLiteral("--archive-bytes: expected a size"));
    if (!integer(pendingPause, 0, behaviour.pendingPauseMs))
        return fail(QStringLiteral("--pending-pause-ms: expected milliseconds"));
    if (!integer(archivePending, 0, behaviour.archivePendingMs))
        return fail(QStringLiteral("--archive-pending-ms: expected milliseconds"));
    if (!integer(sleepy, 0, behaviour.sleepyStarts))
        return fail(QStringLiteral("--sleepy-starts: expected a count"));
    options.recordPath = parser.value(record);
    if (parser.isSet(frozenClock)) {
        behaviour.frozenClock = QDateTime::fromString(parser.value(frozenClock), Qt::ISODate).toUTC();
        if (!behaviour.frozenClock.isValid())
            return fail(QStringLiteral("--frozen-clock: expected a time like 2026-11-23T10:00:00Z"));
    }
    const auto byteSet = [](const QString& text, QSet<quint8>& out) {
        QSet<quint16> values;
        if (!parseIdentifiers(text, values))
            return false;
        for (quint16 value : values) {
            if (value > 0xFF)
                return false;
            out.insert(static_cast<quint8>(value));
        }
        return true;
    };
    if (!byteSet(parser.value(refuseService), behaviour.refusedServices))
        return fail(QStringLiteral("--refuse-service: expected service bytes in hex, e.g. 35,37"));
    if (!byteSet(parser.value(refuseBlock), behaviour.refusedBlocks))
        return fail(QStringLiteral("--refuse-block: expected TransferData types in hex, e.g. 03,85"));
    behaviour.moduleCard = parser.value(moduleCard).toLatin1();
    if (behaviour.moduleCard.size() > 16)
        return fail(QStringLiteral("--module-card: at most 16 characters"));
    const QString counter = parser.value(nkmCounter).toLower();
    if (counter == QLatin1String("known"))
        behaviour.counterAnswer = CounterAnswer::Known;
    else if (counter == QLatin1String("zero"))
        behaviour.counterAnswer = CounterAnswer::Zero;
    else if (counter == QLatin1String("refused"))
        behaviour.counterAnswer = CounterAnswer::Refused;
    else if (counter == QLatin1String("malformed"))
        behaviour.counterAnswer = CounterAnswer::Malformed;
    else if (counter == QLatin1String("silent"))
        behaviour.counterAnswer = CounterAnswer::Silent;
    else
        return fail(QStringLiteral("--nkm-counter: expected known, zero, refused, malformed or silent"));
    if (!parseHex(parser.value(nkmKeys), 48, behaviour.nkmKeys))
        return fail(QStringLiteral("--nkm-keys: expected 48 bytes in hex"));
    for (const QString& item : parser.values(nkmReply)) {
        const QStringList parts = item.split(QLatin1Char('='));
        quint8 code = 0;
        QByteArray data;
        if (parts.size() != 2 || !parseByte(QStringLiteral("0x") + parts[0], code) ||
            !parseHex(parts[1], 0, data))
            return fail(
                QStringLiteral("--nkm-reply: expected a command code and data in hex, e.g. 4A=020033"));
        behaviour.nkmReplies.insert(code, data);
    }
    options.adapterLinkPath = parser.value(adapterLink);
    options.adapterPulses = parser.value(adapterPulses).toUInt(&number);
    if (!number)
        return fail(QStringLiteral("--adapter-pulses: expected a number"));
    options.kLineEcho = !parser.isSet(noKLineEcho);

    FaultInjection& faults = options.faults;
    if (parser.isSet(noise) && !parseHex(parser.value(noise), 0, faults.noise))
        return fail(QStringLiteral("--noise: expected bytes in hex"));
    faults.echo = parser.isSet(echo);
    bool ok = false;
    faults.delayMs = parser.value(delay).toInt(&ok);
    if (!ok || faults.delayMs < 0)
        return fail(QStringLiteral("--delay: expected milliseconds"));
    for (const QString& item : parser.values(slowService)) {
        const QStringList parts = item.split(QLatin1Char('='));
        quint8 sid = 0;
        const int ms = parts.size() == 2 ? parts[1].toInt(&ok) : -1;
        if (parts.size() != 2 || !parseByte(QStringLiteral("0x") + parts[0], sid) || !ok || ms < 0)
            return fail(QStringLiteral("--slow-service: expected a service and milliseconds, e.g. 22=2500"));
        faults.serviceDelayMs.insert(sid, ms);
    }
    faults.silent = parser.isSet(silent);
    faults.badChecksum = parser.isSet(badChecksum);
    faults.zeroLengthFrame = parser.isSet(zeroLength);
    return true;
}

} // namespace tachoria::sim
