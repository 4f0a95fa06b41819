#include "calibration/calibration_parameter_codec.h"

#include <QDateTime>
#include <QTest>
#include <QTimeZone>

using tachoria::calibration::CalibrationParameter;
using tachoria::calibration::CalibrationParameterCodec;
using tachoria::calibration::ParameterAccess;

namespace {

CalibrationParameter parameterFor(quint16 did)
{
    for (const CalibrationParameter& parameter : CalibrationParameterCodec::descriptors()) {
        if (parameter.did == did)
            return parameter;
    }
    return {};
}

CalibrationParameter withValue(quint16 did, const QVariant& value)
{
    CalibrationParameter parameter = parameterFor(did);
    parameter.value = value;
    parameter.available = true;
    return parameter;
}

} // namespace

class TestCalibrationParameterCodec : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void catalogue()
    {
        const auto list = CalibrationParameterCodec::descriptors();
        QCOMPARE(list.size(), 39);
        QCOMPARE(list.first().name, QStringLiteral("TimeDate"));
        QCOMPARE(list.first().did, quint16(0xF90B));
        QCOMPARE(list.at(9).name, QStringLiteral("ReadTachoriaCodeFBU"));
        QCOMPARE(list.last().name, QStringLiteral("IlluminationColor"));
        QCOMPARE(list.last().did, quint16(0xF103));
        int readOnly = 0;
        for (const auto& parameter : list) {
            QCOMPARE(parameter.hourCorrection, 3);
            QVERIFY(!parameter.available);
            readOnly += parameter.access == ParameterAccess::ReadOnly;
            QVERIFY(parameter.access != ParameterAccess::WriteOnly);
        }
        QCOMPARE(readOnly, 9);
        const QStringList& codes = CalibrationParameterCodec::countryCodes();
        QCOMPARE(codes.size(), 55);
        QCOMPARE(codes.first(), QStringLiteral("   "));
        QCOMPARE(codes.last(), QStringLiteral("WLD"));
        for (const QString& code : codes)
            QCOMPARE(code.size(), 3);
    }

    void decode_data()
    {
        QTest::addColumn<int>("did");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("display");

        const auto hex = [](const char* text) { return QByteArray::fromHex(text); };
        QTest::newRow("clock") << 0xF90B << hex("7C1E0A0B5C297D80") << QStringLiteral("10:30:31 23/11/2026");
        QTest::newRow("clock, day 0 reads as 1")
            << 0xF90B << hex("00000001002A7D80") << QStringLiteral("00:00:00 01/01/2027");
        QTest::newRow("manufacturing date")
            << 0xF18B << QByteArray("2025.01.15") << QStringLiteral("15/01/2025");
        QTest::newRow("manufacturer name drops one leading zero")
            << 0xF18A << hex("004142") << QStringLiteral("AB");
        QTest::newRow("zeros go in other texts too") << 0xF192 << hex("004142") << QStringLiteral("AB");
        QTest::newRow("driver card number")
            << 0xF916 << hex("000000") + "RUD0000000000001" << QStringLiteral("RUD0000000000001");
        QTest::newRow("shop code of one byte") << 0xF19A << hex("13") << QStringLiteral("0");
        QTest::newRow("shop code") << 0xF19A << hex("0013") << QStringLiteral("19");
        QTest::newRow("never verified") << 0xFD03 << hex("FFFFFFFF") << QStringLiteral("не проводилась");
        QTest::newRow("verified") << 0xFD03 << hex("67877E20") << QStringLiteral("15.01.2025");
        QTest::newRow("registration without its code page")
            << 0xF97E << hex("05") + "A123BC77     " << QStringLiteral("A123BC77");
        QTest::newRow("registration of one byte") << 0xF97E << hex("05") << QString();
        QTest::newRow("K") << 0xF918 << hex("1F40") << QStringLiteral("8000");
        QTest::newRow("L in eighths of a millimetre") << 0xF91C << hex("0019") << QStringLiteral("3.125");
        QTest::newRow("speed, three decimals") << 0xF92C << hex("5A80") << QStringLiteral("90.500");
        QTest::newRow("odometer in 5 m steps") << 0xF912 << hex("000003E9") << QStringLiteral("5.005");
        QTest::newRow("next calibration") << 0xF922 << hex("013C2A") << QStringLiteral("15.01.2027");
        QTest::newRow("CAN") << 0xFD01 << hex("010201") << QStringLiteral("1;2;1");
        QTest::newRow("CAN NV") << 0xFD09 << hex("00010001") << QStringLiteral("0;1;0;1");
        QTest::newRow("input") << 0xFD06 << hex("01010E10") << QStringLiteral("1;1;3600");
        QTest::newRow("work and rest")
            << 0xFD0B << hex("00FF010E020D021C000F002D021C") << QStringLiteral("255;270;525;540;15;45;540");
        QTest::newRow("CAN VIN with a zero is empty") << 0xFD0C << QByteArray(17, '\0') << QString();
        QTest::newRow("CAN VIN") << 0xFD0C << QByteArray("WVWZZZ1JZXW000001")
                                 << QStringLiteral("WVWZZZ1JZXW000001");
        QTest::newRow("speed source") << 0xFD10 << hex("0800") << QStringLiteral("8;0");
        QTest::newRow("one byte") << 0xF103 << hex("0B") << QStringLiteral("11");
    }

    void decode()
    {
        QFETCH(int, did);
        QFETCH(QByteArray, bytes);
        CalibrationParameter parameter = parameterFor(static_cast<quint16>(did));
        parameter.dirty = true;
        QString error;
        QVERIFY2(CalibrationParameterCodec::decode(parameter, bytes, &error), qPrintable(error));
        QTEST(CalibrationParameterCodec::displayValue(parameter), "display");
        QVERIFY(parameter.available);
        QVERIFY(!parameter.dirty);
        QCOMPARE(parameter.raw, bytes);
    }

    void clockOffsets_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("minutes");
        QTest::addColumn<int>("hours");
        QTest::newRow("plus three hours") << QByteArray::fromHex("0000000104297D80") << 0 << 3;
        QTest::newRow("clamped") << QByteArray::fromHex("000000010429FF00") << 59 << -23;
    }

    void clockOffsets()
    {
        QFETCH(QByteArray, bytes);
        CalibrationParameter clock = parameterFor(0xF90B);
        QVERIFY(CalibrationParameterCodec::decode(clock, bytes));
        QTEST(clock.minuteCorrection, "minutes");
        QTEST(clock.hourCorrection, "hours");
        QCOMPARE(
            CalibrationParameterCodec::encode(clock).mid(6).toHex(),
            QByteArray::fromHex(QByteArray::number(clock.minuteCorrection + 125, 16).rightJustified(2, '0') +
                                QByteArray::number(clock.hourCorrection + 125, 16).rightJustified(2, '0'))
                .toHex());
    }

    void nextCalibrationFallsBackToThreeYears()
    {
        CalibrationParameter next = parameterFor(0xF922);
        QVERIFY(CalibrationParameterCodec::decode(next, QByteArray(3, '\0')));
        QCOMPARE(next.value.toDate(), QDate::currentDate().addYears(3));
    }

    void shortPayloads_data()
    {
        QTest::addColumn<int>("did");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("error");
        QTest::newRow("empty") << 0xF190 << QByteArray()
                               << QStringLiteral("DID payload is too short: 0, expected at least 1 bytes");
        QTest::newRow("clock of 7") << 0xF90B << QByteArray(7, '\x01')
                                    << QStringLiteral(
                                           "DID payload is too short: 7, expected at least 8 bytes");
        QTest::newRow("work and rest of 13")
            << 0xFD0B << QByteArray(13, '\x01')
            << QStringLiteral("DID payload is too short: 13, expected at least 14 bytes");
    }

    void shortPayloads()
    {
        QFETCH(int, did);
        QFETCH(QByteArray, bytes);
        CalibrationParameter parameter = parameterFor(static_cast<quint16>(did));
        QString error;
        QVERIFY(!CalibrationParameterCodec::decode(parameter, bytes, &error));
        QTEST(error, "error");
        QVERIFY(!parameter.available);
    }

    void encode_data()
    {
        QTest::addColumn<int>("did");
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QByteArray>("bytes"); // empty: a failure with the error below
        QTest::addColumn<QString>("error");

        const auto hex = [](const char* text) { return QByteArray::fromHex(text); };
        QTest::newRow("clock") << 0xF90B
                               << QVariant(
                                      QDateTime(QDate(2026, 11, 23), QTime(10, 30, 31), QTimeZone::utc()))
                               << hex("7C1E0A0B5C297D80") << QString();
        QTest::newRow("invalid clock")
            << 0xF90B << QVariant(QDateTime()) << QByteArray() << QStringLiteral("invalid TimeDate");
        QTest::newRow("registration padded")
            << 0xF97E << QVariant(QStringLiteral("A123BC77")) << hex("05") + "A123BC77     " << QString();
        QTest::newRow("registration cut") << 0xF97E << QVariant(QStringLiteral("A123456789012345"))
                                          << hex("05") + "A123456789012" << QString();
        QTest::newRow("Cyrillic turns to ?")
            << 0xF97E << QVariant(QStringLiteral("А1")) << hex("05") + "?1           " << QString();
        QTest::newRow("empty tyre size is blanks")
            << 0xF921 << QVariant(QString()) << QByteArray(15, ' ') << QString();
        QTest::newRow("VIN as it stands") << 0xF190 << QVariant(QStringLiteral("WVWZZZ1JZXW000001"))
                                          << QByteArray("WVWZZZ1JZXW000001") << QString();
        QTest::newRow("L rounds half away from zero")
            << 0xF91C << QVariant(0.0625) << hex("0001") << QString();
        QTest::newRow("L") << 0xF91C << QVariant(3200.06) << hex("6400") << QString();
        QTest::newRow("speed") << 0xF92C << QVariant(90.5) << hex("5A80") << QString();
        QTest::newRow("odometer") << 0xF912 << QVariant(0.0025) << hex("00000001") << QString();
        QTest::newRow("K cut to 16 bits") << 0xF918 << QVariant(70000u) << hex("1170") << QString();
        QTest::newRow("next calibration")
            << 0xF922 << QVariant(QDate(2027, 1, 15)) << hex("013C2A") << QString();
        QTest::newRow("input: K in two bytes")
            << 0xFD05 << QVariant(QStringLiteral("1;1;3600")) << hex("01010E10") << QString();
        QTest::newRow("work and rest") << 0xFD0B << QVariant(QStringLiteral("255;270;525;540;15;45;540"))
                                       << hex("00FF010E020D021C000F002D021C") << QString();
        QTest::newRow("list with a word") << 0xFD01 << QVariant(QStringLiteral("1;x;0")) << QByteArray()
                                          << QStringLiteral("invalid numeric list for 1;x;0");
        QTest::newRow("list with an empty part")
            << 0xFD08 << QVariant(QStringLiteral("1;;0;0")) << QByteArray()
            << QStringLiteral("invalid numeric list for 1;;0;0");
        QTest::newRow("empty CAN VIN is 17 zeros")
            << 0xFD0C << QVariant(QString()) << QByteArray(17, '\0') << QString();
        QTest::newRow("one byte") << 0xF103 << QVariant(11u) << hex("0B") << QString();
        QTest::newRow("shop code") << 0xF19A << QVariant(19u) << hex("0013") << QString();
    }

    void encode()
    {
        QFETCH(int, did);
        QFETCH(QVariant, value);
        QFETCH(QByteArray, bytes);
        QString error;
        QCOMPARE(
            CalibrationParameterCodec::encode(withValue(static_cast<quint16>(did), value), &error).toHex(' '),
            bytes.toHex(' '));
        QTEST(error, "error");
    }

    void validate_data()
    {
        QTest::addColumn<int>("did");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("error"); // empty: passes

        const QString vinCount =
            QStringLiteral("VIN должен содержать ровно 17 заглавных символов (цифры и A-Z без I, O, Q), "
                           "например WVWZZZ1JZXW000001");
        const QString pto =
            QStringLiteral("перерыв: 180..270 мин, отдых: 360..540 мин, минимальный перерыв: 10 или 15 мин; "
                           "пример 255;270;525;540;15;45;540");
        QTest::newRow("VIN") << 0xF190 << QStringLiteral("WVWZZZ1JZXW000001") << QString();
        QTest::newRow("VIN of 16") << 0xF190 << QStringLiteral("WVWZZZ1JZXW00000") << vinCount;
        QTest::newRow("VIN with I")
            << 0xF190 << QStringLiteral("WVWZZZ1JZXW00000I")
            << QStringLiteral("VIN содержит недопустимые символы: разрешены цифры и заглавные A-Z, "
                              "кроме I, O, Q; пример WVWZZZ1JZXW000001");
        QTest::newRow("nation RUS") << 0xF97D << QStringLiteral("RUS") << QString();
        QTest::newRow("nation RU")
            << 0xF97D << QStringLiteral("RU")
            << QStringLiteral("укажите код страны из списка тахографа из 3 символов, например RUS");
        QTest::newRow("empty registration") << 0xF97E << QString() << QString();
        QTest::newRow("Cyrillic registration passes") << 0xF97E << QStringLiteral("А123ВС777") << QString();
        QTest::newRow("registration with *")
            << 0xF97E << QStringLiteral("A123*")
            << QStringLiteral("регистрационный номер содержит недопустимый символ: "
                              "разрешены цифры, пробел и буквы АВЕКМНОРСТУХ; пример А123ВС777");
        QTest::newRow("empty tyre size") << 0xF921 << QString() << QString();
        QTest::newRow("tyre size") << 0xF921 << QStringLiteral("230/65 R15") << QString();
        QTest::newRow("K too small") << 0xF918 << QStringLiteral("999")
                                     << QStringLiteral(
                                            "требуется целое число от 1000 до 64255, например 3600");
        QTest::newRow("K negative") << 0xF918 << QStringLiteral("-3600")
                                    << QStringLiteral(
                                           "требуется целое число от 1000 до 64255, например 3600");
        QTest::newRow("K") << 0xF918 << QStringLiteral(" 3600 ") << QString();
        QTest::newRow("speed at its limit") << 0xF92C << QStringLiteral("250,996") << QString();
        QTest::newRow("speed above") << 0xF92C << QStringLiteral("251")
                                     << QStringLiteral(
                                            "требуется скорость от 0 до 250,996 км/ч, например 90,000");
        QTest::newRow("next calibration in the past")
            << 0xF922 << QStringLiteral("01.01.2020")
            << QStringLiteral("дата следующей настройки должна быть позже "
                              "сегодняшней даты; пример 29.09.2029");
        QTest::newRow("next calibration not a date")
            << 0xF922 << QStringLiteral("31.02.2030")
            << QStringLiteral("ожидается дата в формате ДД.ММ.ГГГГ, например 29.09.2029");
        QTest::newRow("clock") << 0xF90B << QStringLiteral("12:34:56 29/09/2026") << QString();
        QTest::newRow("CAN speed code 4")
            << 0xFD01 << QStringLiteral("1;4;1")
            << QStringLiteral("ожидается формат ВКЛ;скорость;разрядность, например 1;2;1 (или 0;0;0)");
        QTest::newRow("empty PTO") << 0xFD0B << QString()
                                   << QStringLiteral(
                                          "режимы труда должны содержать 7 чисел через ';', например "
                                          "255;270;525;540;15;45;540");
        QTest::newRow("PTO word")
            << 0xFD0B << QStringLiteral("255;270;x;540;15;45;540")
            << QStringLiteral("режимы труда должны содержать только целые числа 0..65535, например "
                              "255;270;525;540;15;45;540");
        QTest::newRow("PTO minimal break 12") << 0xFD0B << QStringLiteral("255;270;525;540;12;45;540") << pto;
        QTest::newRow("PTO warning not 15 before")
            << 0xFD0B << QStringLiteral("250;270;525;540;15;45;540") << pto;
        QTest::newRow("PTO") << 0xFD0B << QStringLiteral("255;270;525;540;15;45;540") << QString();
        QTest::newRow("speed source") << 0xFD10 << QStringLiteral("16;255") << QString();
        QTest::newRow("speed source mask 3")
            << 0xFD10 << QStringLiteral("3;0")
            << QStringLiteral("маска источника скорости должна быть 1, 2, 4, 8 или 16, "
                              "формат например 1;0");
        QTest::newRow("speed source without result")
            << 0xFD10 << QStringLiteral("1")
            << QStringLiteral("источник скорости задается как маска;результат, "
                              "например 1;0");
        QTest::newRow("DM1 16") << 0xFD11 << QStringLiteral("16") << QString();
        QTest::newRow("DM1 2")
            << 0xFD11 << QStringLiteral("2")
            << QStringLiteral("DM1 задаётся маской: 0 — выкл.; 1 — CAN1; 16 — CAN2; 17 — CAN1 и CAN2.");
        QTest::newRow("no rule for the odometer's neighbours")
            << 0xF18C << QStringLiteral("anything") << QString();
    }

    void validate()
    {
        QFETCH(int, did);
        QFETCH(QString, text);
        QFETCH(QString, error);
        QString reason;
        QCOMPARE(CalibrationParameterCodec::validateDisplayValue(parameterFor(static_cast<quint16>(did)),
                                                                 text, &reason),
                 error.isEmpty());
        QCOMPARE(reason, error);
    }

    void parseDecimal_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<double>("value"); // NaN: fails
        QTest::newRow("space and comma") << QStringLiteral("1 234,5") << 1234.5;
        QTest::newRow("comma then point") << QStringLiteral("1,234.5") << 1234.5;
        QTest::newRow("point then comma") << QStringLiteral("1.234,5") << 1234.5;
        QTest::newRow("no-break space") << QStringLiteral("\u00A012") << 12.0;
        QTest::newRow("empty") << QStringLiteral("  ") << qQNaN();
        QTest::newRow("word") << QStringLiteral("abc") << qQNaN();
        QTest::newRow("infinite") << QStringLiteral("1e999") << qQNaN();
    }

    void parseDecimal()
    {
        QFETCH(QString, text);
        QFETCH(double, value);
        const auto parsed = CalibrationParameterCodec::parseDecimal(text);
        QCOMPARE(parsed.has_value(), !qIsNaN(value));
        if (parsed)
            QCOMPARE(*parsed, value);
    }

    void setDisplayValue()
    {
        CalibrationParameter l = withValue(0xF91C, 3200.0);
        QString error;
        QVERIFY(!CalibrationParameterCodec::setDisplayValue(l, QStringLiteral("9000"), &error));
        QCOMPARE(l.value.toDouble(), 3200.0); // refused input changes nothing
        QVERIFY(!l.dirty);
        QVERIFY(CalibrationParameterCodec::setDisplayValue(l, QStringLiteral("2136,5"), &error));
        QCOMPARE(l.value.toDouble(), 2136.5);
        QVERIFY(l.dirty);
        CalibrationParameter next = withValue(0xF922, QDate(2027, 1, 15));
        QVERIFY(CalibrationParameterCodec::setDisplayValue(next, QStringLiteral("29.09.2029"), &error));
        QCOMPARE(CalibrationParameterCodec::encode(next).toHex(), QByteArray("09742c"));
        CalibrationParameter k = withValue(0xF918, 8000u);
        QVERIFY(CalibrationParameterCodec::setDisplayValue(k, QStringLiteral(" 3600 "), &error));
        QCOMPARE(CalibrationParameterCodec::encode(k).toHex(), QByteArray("0e10"));
    }

    void journalColumns_data()
    {
        QTest::addColumn<int>("did");
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QVariantMap>("fields");
        QTest::newRow("CAN1") << 0xFD01 << QVariant(QStringLiteral("1;2;0"))
                              << QVariantMap{{QStringLiteral("CAN1_Enabled"), 1},
                                             {QStringLiteral("CAN1_Speed"), 2},
                                             {QStringLiteral("CAN1_IdentifierType"), 0}};
        QTest::newRow("CAN2_NV takes the prefix of four")
            << 0xFD09 << QVariant(QStringLiteral("0;1;0;1"))
            << QVariantMap{{QStringLiteral("CAN2_TCO2Enabled"), 0},
                           {QStringLiteral("CAN2_TCO3Enabled"), 1},
                           {QStringLiteral("CAN2_TCO4Enabled"), 0},
                           {QStringLiteral("CAN2_RezEnabled"), 1}};
        QTest::newRow("short PTO gives nothing")
            << 0xFD0B << QVariant(QStringLiteral("1;2;3")) << QVariantMap{};
        QTest::newRow("shop code under its own column")
            << 0xF19A << QVariant(19u) << QVariantMap{{QStringLiteral("TachoriaCodeFBU"), 19u}};
        QTest::newRow("interval up to the first ;")
            << 0xFD14 << QVariant(QStringLiteral("1;5"))
            << QVariantMap{{QStringLiteral("CAN2_Interval_TCO1"), QStringLiteral("1")}};
        QTest::newRow("priority") << 0xF90F << QVariant(3u)
                                  << QVariantMap{{QStringLiteral("CAN1_Priority_TCO1"), 3u}};
        QTest::newRow("no column") << 0xF916 << QVariant(QStringLiteral("RUD")) << QVariantMap{};
        QTest::newRow("next calibration as a date")
            << 0xF922 << QVariant(QDate(2027, 1, 15))
            << QVariantMap{{QStringLiteral("NextCalibrationDate"), QDate(2027, 1, 15)}};
    }

    void journalColumns()
    {
        QFETCH(int, did);
        QFETCH(QVariant, value);
        QTEST(CalibrationParameterCodec::databaseFields(withValue(static_cast<quint16>(did), value)),
              "fields");
    }
};

QTEST_GUILESS_MAIN(TestCalibrationParameterCodec)
#include "test_calibration_parameter_codec.moc"
