#include "cards/external_card_auth.h"

#include "logging/application_logger.h"
#include "protocol/byte_order.h"

#include <QDateTime>
#include <QTimeZone>

namespace tachoria::cards {

using logging::ApplicationLogger;
using logging::Level;
using protocol::bigEndianBytes;
using protocol::readBigEndian;
using protocol::ServiceFrame;

namespace {

QString hex4(quint32 value)
{
    return protocol::hexDigits(value, 4, true);
}

QString hex2(quint32 value)
{
    return protocol::hexDigits(value, 2, true);
}

const QString kCategory = QStringLiteral("cards");
const QByteArray kTachographApplication = QByteArray::fromHex("FF544143484F");
constexpr quint8 kNkmState = 0x32;
constexpr quint8 kNkmCardEntering = 0x40;
constexpr quint8 kNkmCardTaking = 0x41;
constexpr quint8 kNkmCertificate = 0x42;
constexpr quint8 kNkmChallenge = 0x43;
constexpr quint8 kNkmCryptogram = 0x44;
constexpr quint8 kNkmGetCertificate = 0x49;
constexpr quint8 kNkmKeyIdentifier = 0x4A;
constexpr quint8 kNkmKeyList = 0x4B;

// The module keeps local time: the wall clock's fields are sent as if they were UTC.
quint32 localTimeAsUtc(const QDateTime& now)
{
    const QDateTime local = now.isValid() ? now : QDateTime::currentDateTime();
    return static_cast<quint32>(QDateTime(local.date(), local.time(), QTimeZone::utc()).toSecsSinceEpoch());
}

void journal(const QString& message, const QString& operation)
{
    ApplicationLogger::write(Level::Info, kCategory, message, operation);
}

} // namespace

bool ExternalCardAuth::fail(QString* error, const QString& text)
{
    ApplicationLogger::write(Level::Warning, kCategory, text, QStringLiteral("card-operation"));
    if (error)
        *error = text;
    return false;
}

void ExternalCardAuth::disconnect()
{
    m_data.catalogSelected = false;
    m_data.selectedFile = 0;
    m_data.connected = false;
    m_reader.cardDisconnect();
}

bool ExternalCardAuth::readForAuth(const QString& reader, const QString& pin, QString* error)
{
    journal(QStringLiteral("Начато чтение карты для авторизации"), QStringLiteral("read-card"));
    disconnect();
    QString atr;
    // The reader reports a connection as 0; this compares with the card's 0x9000 all the same.
    const quint32 connected = m_reader.cardConnect(reader, atr);
    if (connected != PcscCardReader::kSuccess)
        return fail(error, QStringLiteral("Не подключена карта: 0x%1").arg(hex4(connected)));
    m_data.connected = true;
    m_data.pin = QByteArray(8, '\xFF');
    m_data.pin.replace(0, std::min<qsizetype>(8, pin.toLatin1().size()), pin.toLatin1().left(8));
    const quint32 verified = m_reader.cardVerifyPin(m_data.pin);
    if (verified != PcscCardReader::kSuccess)
        return fail(error, QStringLiteral("Неверный PIN карты: 0x%1").arg(hex4(verified)));
    if (!readCardFiles(error))
        return false;
    journal(QStringLiteral("Данные карты прочитаны"), QStringLiteral("read-card"));
    return true;
}

bool ExternalCardAuth::readFile(quint16 id, int length, QByteArray& out, QString* error)
{
    if (!m_data.catalogSelected) {
        const quint32 status = m_reader.cardSelectCatalog(kTachographApplication);
        if (status != PcscCardReader::kSuccess)
            return fail(error, QStringLiteral("Не выбран каталог карты: 0x%1").arg(hex4(status)));
        m_data.catalogSelected = true;
    }
    if (id != m_data.selectedFile) {
        const quint32 status = m_reader.cardSelectFileId(id);
        if (status != PcscCardReader::kSuccess)
            return fail(error, QStringLiteral("Не выбран файл карты 0x%1: 0x%2").arg(hex4(id), hex4(status)));
        m_data.selectedFile = id;
    }
    quint32 status = 0;
    for (int attempt = 0; attempt < 2; ++attempt) {
        out.clear();
        status = m_reader.cardReadBinary2B(0, 0, length, out);
        if (status == PcscCardReader::kSuccess)
            return true;
    }
    return fail(error, QStringLiteral("Не прочитан файл карты 0x%1: 0x%2").arg(hex4(id), hex4(status)));
}

bool ExternalCardAuth::readCertificate(quint16 id, QByteArray& out, QString* error)
{
    QByteArray header;
    if (!readFile(id, 4, header, error))
        return false;
    int length = 4;
    if (header.size() >= 4 && header.startsWith(QByteArray::fromHex("3082")))
        length = static_cast<int>(readBigEndian(header, 2, 2));
    if (length >= 5)
        length += 4; // the header itself
    return readFile(id, length, out, error);
}

bool ExternalCardAuth::readCardFiles(QString* error)
{
    QByteArray number;
    const quint32 status = m_reader.cardGetFullCardNumber(number);
    if (status != PcscCardReader::kSuccess || number.size() < 18)
        return fail(error, QStringLiteral("Не прочитан полный номер карты: 0x%1").arg(hex4(status)));
    m_data.fullCardNumber = number.left(18);
    if (!readCertificate(0xC208, m_data.caCertificate, error) ||
        !readCertificate(0xC200, m_data.cardCertificate, error) ||
        !readFile(0xC201, 16, m_data.keyIdentifier, error))
        return false;
    if (static_cast<quint8>(m_data.fullCardNumber.at(0)) != 2)
        return true; // only a service-shop card goes on to its identification and vehicles

    QByteArray application;
    if (!readFile(0x0501, 11, application, error))
        return false;
    if (application.size() < 9)
        return fail(error, QStringLiteral("Файл 0501 карты имеет неверную длину"));
    m_data.cardType = static_cast<quint8>(application.at(0));
    const int records = static_cast<int>(readBigEndian(application, 7, 2));

    QByteArray identification;
    if (!readFile(0x0520, 211, identification, error))
        return false;
    if (identification.size() <= 64)
        return fail(error, QStringLiteral("Файл 0520 карты имеет неверную длину"));
    m_data.issuingNation = static_cast<quint8>(identification.at(0));
    m_data.cardNumber = identification.mid(1, 16);
    m_data.codeString = identification.mid(17, 36).leftJustified(36, ' ', true);
    m_data.expiryDate = readBigEndian(identification, 61, 4);
    m_data.cardFullNumberForRecord = QByteArray(1, static_cast<char>(m_data.cardType)) +
                                     QByteArray(1, static_cast<char>(m_data.issuingNation)) +
                                     m_data.cardNumber;

    QByteArray vehicles;
    if (!readFile(0x0505, records * 31 + 2, vehicles, error))
        return false;
    m_data.lastVehicleUse = 0xFFFFFFFF;
    m_data.lastVehicle = QByteArray(15, ' ');
    if (vehicles.size() >= 2 && records > 0) {
        const int pointer = static_cast<int>(readBigEndian(vehicles, 0, 2));
        if (pointer >= records)
            return fail(error, QStringLiteral("Указатель последней записи карты выходит за границы"));
        const int start = pointer * 31 + 2;
        if (start + 31 > vehicles.size())
            return fail(error, QStringLiteral("Повреждена история транспортных средств карты"));
        m_data.lastVehicleUse = readBigEndian(vehicles, start + 10, 4);
        m_data.lastVehicle =
            (vehicles.mid(start + 14, 1) + vehicles.mid(start + 15, 14)).leftJustified(15, ' ', true);
    }
    return true;
}

QByteArray ExternalCardAuth::serializeFullCardNumber() const
{
    return m_data.fullCardNumber.leftJustified(18, '\0', true);
}

QByteArray ExternalCardAuth::serializeEnteringRecord(const QDateTime& now) const
{
    QByteArray record;
    record += m_data.codeString.leftJustified(36, ' ', true);
    record += QByteArray(1, '\0');
    record += QByteArray(35, ' ');
    record += m_data.cardFullNumberForRecord.leftJustified(18, '\0', true);
    record += bigEndianBytes(m_data.expiryDate, 4);
    record += bigEndianBytes(localTimeAsUtc(now), 4);
    record += QByteArray(3, '\0');
    record += QByteArray(1, '\x02');
    record += QByteArray(4, '\xFF');
    record += QByteArray(3, '\xFF');
    record += m_data.lastVehicle.leftJustified(15, ' ', true);
    record += bigEndianBytes(m_data.lastVehicleUse, 4);
    record += QByteArray(1, '\0');
    return record;
}

QByteArray ExternalCardAuth::serializeTakingRecord(const QDateTime& now) const
{
    QByteArray record = serializeEnteringRecord(now);
    if (record.size() > 105) {
        record.replace(102, 4, bigEndianBytes(localTimeAsUtc(now), 4));
        record.replace(106, 3, QByteArray(3, '\0'));
    }
    return record;
}

bool ExternalCardAuth::sendNkmCommand(protocol::TachographClient& client, quint8 code,
                                      const QByteArray& payload, quint8& status, QByteArray& reply,
                                      QString* error)
{
    const int length = static_cast<int>(payload.size()) + 1;
    QByteArray data;
    data.append(static_cast<char>(length & 0xFF));
    data.append(static_cast<char>((length >> 8) & 0xFF));
    data.append(static_cast<char>(code));
    data.append(payload);
    ServiceFrame frame;
    QString reason;
    if (!client.requestFrame(0x01, data, frame, 2000, &reason))
        return fail(error, reason);
    while (frame.sid == 0x7F && frame.data.size() >= 2 && static_cast<quint8>(frame.data.at(1)) == 0x78) {
        if (!client.transport().readService(frame, 5000, &reason))
            return fail(error, reason);
    }
    if (frame.sid != 0x41)
        return fail(error, QStringLiteral("СКЗИ: неожиданный SID ответа 0x%1").arg(hex2(frame.sid)));
    if (frame.data.size() < 3)
        return fail(error, QStringLiteral("СКЗИ вернул короткий ответ на 0x%1").arg(hex2(code)));
    const int replyLength =
        static_cast<quint8>(frame.data.at(0)) | (static_cast<quint8>(frame.data.at(1)) << 8);
    if (replyLength == 0 || frame.data.size() < replyLength + 2)
        return fail(error, QStringLiteral("СКЗИ вернул повреждённый ответ на 0x%1").arg(hex2(code)));
    status = static_cast<quint8>(frame.data.at(2));
    reply = frame.data.mid(3, replyLength - 1);
    return true;
}

// The module's authority certificate is checked under the key the card just accepted; the module's own
// certificate is signed by that authority, so it is checked under the authority's key, whichever key
// let the authority's certificate in.
bool ExternalCardAuth::installCertificates(protocol::TachographClient& client, const QString& caRefusal,
                                           QString* error)
{
    quint8 status = 0;
    if (!sendNkmCommand(client, kNkmGetCertificate, QByteArray(1, '\0'), status, m_data.nkmCaCertificate,
                        error))
        return false;
    // The reader reports an accepted certificate as 0; it is compared with 0x9000 all the same.
    if (m_reader.cardVerifyCert(m_data.nkmCaCertificate) != PcscCardReader::kSuccess)
        return fail(error, caRefusal);
    if (m_reader.cardMseSet(m_data.nkmKeyCa) != PcscCardReader::kSuccess)
        return fail(error, QStringLiteral("Не установлен ключ CA карты"));
    if (!sendNkmCommand(client, kNkmGetCertificate, QByteArray(1, '\x01'), status, m_data.nkmCertificate,
                        error))
        return false;
    if (m_reader.cardVerifyCert(m_data.nkmCertificate) != PcscCardReader::kSuccess)
        return fail(error, QStringLiteral("Карта не приняла сертификат НКМ"));
    if (m_reader.cardMseSet(m_data.nkmKeyCurrent) != PcscCardReader::kSuccess)
        return fail(error, QStringLiteral("Не установлен ключ НКМ карты"));
    return true;
}

bool ExternalCardAuth::authenticate(protocol::TachographClient& client, QString* error)
{
    journal(QStringLiteral("Начата авторизация карты в СКЗИ"), QStringLiteral("authenticate-card"));
    if (!m_data.connected)
        return fail(error, QStringLiteral("Карта не подключена"));
    quint8 status = 0;
    QByteArray reply;
    const auto refreshFlags = [&] {
        if (!sendNkmCommand(client, kNkmState, {}, status, reply, error))
            return false;
        if (reply.size() > 3)
            m_data.nkmFlags = static_cast<quint8>(reply.at(3));
        return true;
    };
    if (!refreshFlags() ||
        !sendNkmCommand(client, kNkmCardEntering, serializeEnteringRecord(), status, reply, error))
        return false;
    const QByteArray number = serializeFullCardNumber();
    if (!sendNkmCommand(client, kNkmKeyIdentifier, QByteArray(1, '\x80') + number + m_data.keyIdentifier,
                        status, reply, error))
        return false;
    if (status != 0x70 && status != 0x00)
        return fail(error,
                    QStringLiteral("СКЗИ не принял идентификатор ключа карты: 0x%1").arg(hex2(status)));
    // Only a module that does not know the card yet gets the authority's certificate first.
    if (status == 0x70 &&
        !sendNkmCommand(client, kNkmCertificate, QByteArray(1, '\0') + number + m_data.caCertificate, status,
                        reply, error))
        return false;
    if (!sendNkmCommand(client, kNkmCertificate, QByteArray(1, '\x01') + number + m_data.cardCertificate,
                        status, reply, error))
        return false;
    if (!sendNkmCommand(client, kNkmKeyList, {}, status, reply, error))
        return false;
    if (reply.size() < 48)
        return fail(error, QStringLiteral("СКЗИ вернул неполный список идентификаторов ключей"));
    m_data.nkmKeyCurrent = reply.mid(0, 16);
    m_data.nkmKeyCa = reply.mid(16, 16);
    m_data.nkmKeyPreviousCa = reply.mid(32, 16);

    if (m_reader.cardMseSet(m_data.nkmKeyCurrent) != PcscCardReader::kSuccess) {
        if (m_reader.cardMseSet(m_data.nkmKeyCa) == PcscCardReader::kSuccess) {
            if (!installCertificates(client, QStringLiteral("Карта не приняла сертификат CA НКМ"), error))
                return false;
        } else if (m_reader.cardMseSet(m_data.nkmKeyPreviousCa) == PcscCardReader::kSuccess) {
            if (!installCertificates(client, QStringLiteral("Карта не приняла предыдущий сертификат CA НКМ"),
                                     error))
                return false;
        } else {
            return fail(error, QStringLiteral("Идентификаторы СКЗИ не приняты картой"));
        }
    }

    QByteArray challenge;
    if (m_reader.cardGetChallenge(challenge) != PcscCardReader::kSuccess || challenge.size() != 16)
        return fail(error, QStringLiteral("Не получено случайное число карты"));
    QByteArray cardInput;
    if (!sendNkmCommand(client, kNkmChallenge, number + challenge, status, cardInput, error))
        return false;
    const quint32 answer = m_reader.cardMutualAuth(cardInput);
    const quint8 length = (answer >> 8) == 0x61 ? static_cast<quint8>(answer & 0xFF) : 6;
    QByteArray cryptogram;
    if (m_reader.cardGetResponse(length, cryptogram) != PcscCardReader::kSuccess)
        return fail(error, QStringLiteral("Не получена криптограмма карты"));
    if (!sendNkmCommand(client, kNkmCryptogram, number + cryptogram, status, reply, error) || !refreshFlags())
        return false;
    journal(QStringLiteral("Авторизация карты в СКЗИ завершена"), QStringLiteral("authenticate-card"));
    return true;
}

bool ExternalCardAuth::eject(protocol::TachographClient& client, QString* error)
{
    if (!m_data.connected || !(m_data.nkmFlags & 0x20))
        return true; // no card counts as inserted
    quint8 status = 0;
    QByteArray reply;
    if (!sendNkmCommand(client, kNkmCardTaking, serializeTakingRecord(), status, reply, error) ||
        !sendNkmCommand(client, kNkmState, {}, status, reply, error))
        return false;
    if (reply.size() > 3)
        m_data.nkmFlags = static_cast<quint8>(reply.at(3));
    return true;
}

} // namespace tachoria::cards
