#include "calibration/calibration_parameter_codec.h"

#include <QLocale>
#include <QTest>
#include <QTimeZone>

using tachoria::calibration::CalibrationParameter;
using tachoria::calibration::CalibrationParameterCodec;
using namespace Qt::StringLiterals;

namespace {

CalibrationParameter parameter(int did, const QVariant& value = {})
{
    for (CalibrationParameter p : CalibrationParameterCodec::descriptors()) {
        if (p.did == did) {
            p.value = value;
            return p;
        }
    }
    CalibrationParameter unknown;
    unknown.did = static_cast<quint16>(did);
    return unknown;
}

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text);
}

// Bytes of a read, what the form shows ("~" a number in the system's locale), and the bytes a write
// sends back (empty: the bytes as read). Each is hex, then text.
struct Value
{
    int did;
    const char *hex, *text, *display, *written;
};
constexpr Value kValues[] = {
    {0xF90B, "7C1E0A0B5C297D80", "", "10:30:31 23/11/2026", ""},
    {0xF90B, "00000001002A7D80", "", "00:00:00 01/01/2027", "00000001042A7D80"}, // day 0 reads as 1
    {0xF18B, "", "2025.01.15", "15/01/2025", ""},
    {0xF18B, "", "20250115", "20250115", ""},
    {0xF18A, "00414200", "", "AB", ""}, // one leading zero dropped, then all
    {0xF192, "0041004220", "", "AB", ""},
    {0xF195, "0030", "", "0", ""},
    {0xF916, "000000", "RUD00000000000019", "RUD0000000000001", ""},
    {0xF19A, "13", "", "0", "0000"},
    {0xF19A, "0013", "", "19", ""},
    {0xFD03, "FFFFFFFF", "", "не проводилась", ""},
    {0xFD03, "67877E20", "", "15.01.2025", ""},
    {0xFD03, "678701", "", "01.01.1970", ""},
    {0xF190, "", "WVWZZZ1JZXW000001", "WVWZZZ1JZXW000001", ""},
    {0xF97D, "", "RUS", "RUS", ""},
    {0xF97E, "05", "A123BC77     ", "A123BC77", ""},
    {0xF97E, "05", "A1234567890123", "A1234567890123", "0541313233343536373839303132"},
    {0xF97E, "05", "", "", "0520202020202020202020202020"},
    {0xF918, "1F40", "", "8000", ""},
    {0xF91D, "1F", "", "31", "001F"},
    {0xF91E, "1770", "", "6000", ""},
    {0xF91C, "0019", "", "3.125", ""},
    {0xF921, "", "315/80R22.5", "315/80R22.5", "3331352F38305232322E3520202020"},
    {0xF92C, "5A80", "", "~90.5", ""},
    {0xF912, "05F5E0FF", "", "~499999.995", ""},
    {0xF922, "013C2A", "", "15.01.2027", ""},
    {0xFD01, "010201", "", "1;2;1", ""},
    {0xFD02, "00030107", "", "0;3;1", "000301"},
    {0xFD09, "00010001", "", "0;1;0;1", ""},
    {0xFD06, "01010E10", "", "1;1;3600", ""},
    {0xFD0B, "00FF010E020D021C000F002D021C", "", "255;270;525;540;15;45;540", ""},
    {0xFD0C, "0000000000000000000000000000000000", "", "", ""}, // a zero anywhere: none
    {0xFD0C, "", " WVWZZZ1JZXW000001", "WVWZZZ1JZXW000001", "5756575A5A5A314A5A5857303030303031"},
    {0xFD10, "0800", "", "8;0", ""},
    {0xF103, "0B07", "", "11", "0B"},
    {0xF90F, "03", "", "3", ""},
    {0xFD04, "0A0B", "", "0a0b", ""}, // no form of its own: hex
};

// The words of the form's rules, and texts that pass or fail them.
const QString kWords[] = {
    u""_s,
    u"ожидается дата и время в формате ЧЧ:ММ:СС ДД/ММ/ГГГГ, например 12:34:56 29/09/2026"_s,
    u"требуется целое число от 1 до 65535, например 19"_s,
    u"VIN должен содержать ровно 17 заглавных символов (цифры и A-Z без I, O, Q), например WVWZZZ1JZXW000001"_s,
    u"VIN содержит недопустимые символы: разрешены цифры и заглавные A-Z, кроме I, O, Q; пример WVWZZZ1JZXW000001"_s,
    u"укажите код страны из списка тахографа из 3 символов, например RUS"_s,
    u"регистрационный номер должен содержать не более 13 символов; пример А123ВС777"_s,
    u"регистрационный номер содержит недопустимый символ: разрешены цифры, пробел и буквы АВЕКМНОРСТУХ; "
    u"пример "
    u"А123ВС777"_s,
    u"требуется целое число от 1000 до 64255, например 3600"_s,
    u"требуется целое число от 0 до 64255, например 6000"_s,
    u"требуется целое число от 0 до 8031 мм, например 2136"_s,
    u"маркировка шин должна содержать не более 15 символов; пример 230/65 R15"_s,
    u"маркировка шин содержит недопустимый символ; пример 230/65 R15"_s,
    u"требуется скорость от 0 до 250,996 км/ч, например 90,000"_s,
    u"требуется неотрицательное число до 21474836,475 км, например 123456,789"_s,
    u"ожидается дата в формате ДД.ММ.ГГГГ, например 29.09.2029"_s,
    u"дата следующей настройки должна быть позже сегодняшней даты; пример 29.09.2029"_s,
    u"ожидается формат ВКЛ;скорость;разрядность, например 1;2;1 (или 0;0;0)"_s,
    u"ожидаются 4 значения 0 или 1 через ';', например 0;1;0;1"_s,
    u"период TCO1 должен быть 0 (20 мс) или 1 (50 мс), например 0"_s,
    u"приоритет TCO1 должен быть целым числом от 0 до 7, например 3"_s,
    u"ожидается формат включение;уровень;K, например 1;1;3600 (K от 1000 до 64255)"_s,
    u"режимы труда должны содержать 7 чисел через ';', например 255;270;525;540;15;45;540"_s,
    u"режимы труда должны содержать только целые числа 0..65535, например 255;270;525;540;15;45;540"_s,
    u"перерыв: 180..270 мин, отдых: 360..540 мин, минимальный перерыв: 10 или 15 мин; пример "
    u"255;270;525;540;15;45;540"_s,
    u"подменный VIN CAN должен содержать 17 символов или быть пустым; пример WVWZZZ1JZXW000001"_s,
    u"подменный VIN CAN содержит недопустимые символы; пример WVWZZZ1JZXW000001"_s,
    u"источник яркости должен быть 0, 1 или 2 (Ручной, CAN, A2), например 0"_s,
    u"DM1 задаётся маской: 0 — выкл.; 1 — CAN1; 16 — CAN2; 17 — CAN1 и CAN2."_s,
    u"номер цвета подсветки должен быть от 0 до 11"_s,
    u"источник скорости задается как маска;результат, например 1;0"_s,
    u"маска источника скорости должна быть 1, 2, 4, 8 или 16, формат например 1;0"_s,
};
// For each rule: texts that pass it, and texts that fail it with its words, each list split at "|".
struct Rule
{
    int did;
    const char* passes;
    const char* fails;
    int words;
};
constexpr Rule kRules[] = {
    {0xF90B, " 12:34:56 29/09/2026 ", "12:34 29/09/2026", 1},
    {0xF19A, "65535", "0|65536|-1| ", 2},
    {0xF190, "WVWZZZ1JZXW000001", "WVWZZZ1JZXW00000", 3},
    {0xF190, "", "WVWZZZ1JZXW00000I", 4},
    {0xF97D, "RUS", "RU|rus", 5},
    {0xF97E, "А123ВС777 7", "A1234567890123", 6},
    {0xF97E, "", "A123*", 7},
    {0xF918, "1000", "999", 8},
    {0xF91D, "", "64256", 8},
    {0xF91E, "0", "64256", 9},
    {0xF91C, "8031", "8032", 10},
    {0xF921, "12.5-20 R*×b", "1234567890123456", 11},
    {0xF921, "", "230+65", 12},
    {0xF92C, "250,996", "250.997|-0,001| ", 13},
    {0xF912, "21 474 836,475", "21474836.476|-1", 14},
    {0xF922, "", "31.02.2030", 15},
    {0xF922, "", "01.01.2020", 16},
    {0xFD02, "", "2;0;0|1;4;1|0;0;2|0;0|0;;0|0;-0;0", 17},
    {0xFD09, "", "0;2;0;0|0;1;0", 18},
    {0xFD14, "", "2", 19},
    {0xFD13, "", "8", 20},
    {0xFD06, "", "2;0;3600|0;2;3600|0;0;999|0;0;64256", 21},
    {0xFD07, "", "0;0", 21},
    {0xFD0B, "165;180;345;360;10;45;540|255;270;525;540;15;1;1", " ", 22},
    {0xFD0B, "", "255;270;x;540;15;45;540|255;270;525;540;15;45;65536", 23},
    {0xFD0B, "",
     "164;179;345;360;10;1;1|256;271;525;540;15;1;1|255;270;344;359;15;1;1|255;270;526;541;15;1;1|250;270;"
     "525;540;15;1;1|255;270;520;540;15;1;1|255;270;525;540;12;1;1",
     24},
    {0xFD0C, "  |WVWZZZ1JZXW000001", "WVWZZZ1JZXW00000", 25},
    {0xFD0C, "", "WVWZZZ1JZXW00000O", 26},
    {0xFD0F, "2", "3", 27},
    {0xFD11, "0|1|16|17", "2|18|-1|1.5", 28},
    {0xF103, "11", "12", 29},
    {0xFD10, "1;0|2;255|4;1|8;0|16;0", "1", 30},
    {0xFD10, "", "3;0|32;0|1;256", 31},
    {0xFD01, "1;3;1", "", 0},
    {0xFD08, "1;1;1;1", "", 0},
    {0xF920, " 1 ", "", 0},
    {0xF90F, "7", "", 0},
    {0xFD05, "1;1;64255", "", 0},
    {0xF18C, "anything", "", 0},
};

} // namespace

class TestCalibrationParameterCodec : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void catalogue()
    {
        QStringList rows;
        for (const auto& p : CalibrationParameterCodec::descriptors())
            rows << u"%1 %2 %3 %4%5"_s.arg(p.name)
                        .arg(p.did, 0, 16)
                        .arg(int(p.access))
                        .arg(p.hourCorrection)
                        .arg(p.available + p.dirty);
        QCOMPARE(rows.size(), 39);
        QCOMPARE(rows.first() + rows.at(9) + rows.last(),
                 u"TimeDate f90b 2 30ReadTachoriaCodeFBU f19a 2 30IlluminationColor f103 2 30"_s);
        QCOMPARE(rows.filter(u" 0 30"_s).size(), 9); // read-only ones
        QCOMPARE(CalibrationParameterCodec::countryCodes().join(u'|'),
                 u"   |A  |AL |AND|ARM|AZ |B  |BG |BIH|BY |CH |CY |CZ |D  |DK |E  |EST|F  |FIN|FL |FR |UK "
                 u"|GE |GR |H  |"
                 u"HR |I  |IRL|IS |KZ |L  |LT |LV |M  |MC |MD |MK |N  |NL |P  |PL |RO |RSM|RUS|S  |SK "
                 u"|SLO|TM |TR |"
                 u"UA |V  |SRB|EC |EUR|WLD"_s);
    }

    void values_data()
    {
        QTest::addColumn<int>("index");
        for (int i = 0; i < int(std::size(kValues)); ++i)
            QTest::addRow("%x %s%s", kValues[i].did, kValues[i].hex, kValues[i].text) << i;
    }

    void values()
    {
        QFETCH(int, index);
        const Value& v = kValues[index];
        const QByteArray bytes = hex(v.hex) + v.text;
        CalibrationParameter p = parameter(v.did);
        p.dirty = true;
        QString error = u"untouched"_s;
        QVERIFY2(CalibrationParameterCodec::decode(p, bytes, &error), qPrintable(error));
        const QString display = QString::fromUtf8(v.display);
        QCOMPARE(CalibrationParameterCodec::displayValue(p),
                 display.startsWith(u'~') ? QLocale::system().toString(display.mid(1).toDouble(), 'f', 3)
                                          : display);
        QVERIFY(p.available && !p.dirty);
        QCOMPARE(p.raw, bytes);
        QCOMPARE(CalibrationParameterCodec::encode(p, &error).toHex(),
                 *v.written ? hex(v.written).toHex() : bytes.toHex());
        QCOMPARE(error, u"untouched"_s);
    }

    void shortPayloads()
    {
        for (const auto& [did, minimum] : std::initializer_list<std::pair<int, int>>{{0xF190, 1},
                                                                                     {0xF90B, 8},
                                                                                     {0xF916, 3},
                                                                                     {0xF922, 3},
                                                                                     {0xFD01, 3},
                                                                                     {0xFD02, 3},
                                                                                     {0xFD08, 4},
                                                                                     {0xFD09, 4},
                                                                                     {0xFD05, 4},
                                                                                     {0xFD06, 4},
                                                                                     {0xFD07, 4},
                                                                                     {0xFD0B, 14},
                                                                                     {0xFD10, 2}}) {
            CalibrationParameter p = parameter(did);
            QString error;
            QVERIFY(!CalibrationParameterCodec::decode(p, QByteArray(minimum - 1, '\x01'), &error));
            QCOMPARE(
                error,
                u"DID payload is too short: %1, expected at least %2 bytes"_s.arg(minimum - 1).arg(minimum));
            QVERIFY(!p.available);
            QVERIFY(CalibrationParameterCodec::decode(p, QByteArray(minimum, '\x01')));
        }
        CalibrationParameter clock = parameter(0xF90B);
        QString error;
        QVERIFY(!CalibrationParameterCodec::decode(clock, {}, &error));
        QCOMPARE(error, u"DID payload is too short: 0, expected at least 1 bytes"_s);
    }

    void clockOffsets()
    {
        for (const auto& [bytes, minutes, hours] :
             {std::tuple("0000000104297D80", 0, 3), std::tuple("000000010429FF00", 59, -23),
              std::tuple("0000000104290098", -59, 23)}) {
            CalibrationParameter p = parameter(0xF90B);
            QVERIFY(CalibrationParameterCodec::decode(p, hex(bytes)));
            QCOMPARE(p.minuteCorrection * 100 + p.hourCorrection, minutes * 100 + hours);
            QCOMPARE(p.value.toDateTime(), QDateTime(QDate(2026, 1, 1), QTime(0, 0), QTimeZone::utc()));
        }
        CalibrationParameter p =
            parameter(0xF90B, QDateTime(QDate(2026, 11, 23), QTime(13, 30, 31), QTimeZone(3600)));
        p.minuteCorrection = -200;
        p.hourCorrection = 200;
        QCOMPARE(CalibrationParameterCodec::encode(p).toHex(), QByteArray("7c1e0c0b5c2900ff"));
        for (const char* bytes : {"000000", "010400"}) { // no usable date: three years from today
            CalibrationParameter next = parameter(0xF922);
            QVERIFY(CalibrationParameterCodec::decode(next, hex(bytes)));
            QCOMPARE(next.value.toDate(), QDate::currentDate().addYears(3));
        }
    }

    void encode_data()
    {
        QTest::addColumn<int>("did");
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QByteArray>("bytes"); // empty: a failure with the error below
        QTest::addColumn<QString>("error");
        QTest::newRow("invalid clock")
            << 0xF90B << QVariant(QDateTime()) << QByteArray() << u"invalid TimeDate"_s;
        QTest::newRow("no clock") << 0xF90B << QVariant() << QByteArray() << u"invalid TimeDate"_s;
        QTest::newRow("Cyrillic turns to ?")
            << 0xF97E << QVariant(u"А1"_s) << hex("05") + "?1           " << QString();
        QTest::newRow("L rounds half away from zero")
            << 0xF91C << QVariant(0.0625) << hex("0001") << QString();
        QTest::newRow("speed rounds") << 0xF92C << QVariant(0.5 / 256) << hex("0001") << QString();
        QTest::newRow("odometer rounds") << 0xF912 << QVariant(0.0025) << hex("00000001") << QString();
        QTest::newRow("K cut to 16 bits") << 0xF918 << QVariant(70000u) << hex("1170") << QString();
        QTest::newRow("list with a word")
            << 0xFD01 << QVariant(u"1;x;0"_s) << QByteArray() << u"invalid numeric list for 1;x;0"_s;
        QTest::newRow("list with an empty part")
            << 0xFD08 << QVariant(u"1;;0;0"_s) << QByteArray() << u"invalid numeric list for 1;;0;0"_s;
        QTest::newRow("PTO list") << 0xFD0B << QVariant(u"1;2"_s) << hex("00010002") << QString();
        QTest::newRow("input list") << 0xFD07 << QVariant(u" 1; 0;70000"_s) << hex("01001170") << QString();
        QTest::newRow("input list, parts beyond the third in one byte")
            << 0xFD05 << QVariant(u"1;1;3600;5"_s) << hex("01010E1005") << QString();
        QTest::newRow("speed source list") << 0xFD10 << QVariant(u"16;300"_s) << hex("102C") << QString();
        QTest::newRow("empty CAN VIN") << 0xFD0C << QVariant(QString()) << QByteArray(17, '\0') << QString();
        QTest::newRow("one byte cut") << 0xFD11 << QVariant(273u) << hex("11") << QString();
    }

    void encode()
    {
        QFETCH(int, did);
        QFETCH(QVariant, value);
        QFETCH(QByteArray, bytes);
        QString error;
        QCOMPARE(CalibrationParameterCodec::encode(parameter(did, value), &error).toHex(' '),
                 bytes.toHex(' '));
        QTEST(error, "error");
    }

    void validate_data()
    {
        QTest::addColumn<int>("did");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("error"); // empty: passes
        for (const Rule& rule : kRules) {
            for (const QString& text : QString::fromUtf8(rule.passes).split(u'|', Qt::SkipEmptyParts))
                QTest::addRow("%x %s", rule.did, qPrintable(text)) << rule.did << text << QString();
            for (const QString& text : QString::fromUtf8(rule.fails).split(u'|', Qt::SkipEmptyParts))
                QTest::addRow("%x %s", rule.did, qPrintable(text)) << rule.did << text << kWords[rule.words];
        }
        QTest::newRow("next calibration tomorrow")
            << 0xF922 << QDate::currentDate().addDays(1).toString(u"dd.MM.yyyy"_s) << QString();
        QTest::newRow("next calibration today")
            << 0xF922 << QDate::currentDate().toString(u"dd.MM.yyyy"_s) << kWords[16];
    }

    void validate()
    {
        QFETCH(int, did);
        QFETCH(QString, text);
        QFETCH(QString, error);
        QString reason;
        QCOMPARE(CalibrationParameterCodec::validateDisplayValue(parameter(did), text, &reason),
                 error.isEmpty());
        QCOMPARE(reason, error);
    }

    void parseDecimal()
    {
        for (const auto& [text, value] : {std::pair(u"1 234,5"_s, 1234.5), std::pair(u"1,234.5"_s, 1234.5),
                                          std::pair(u"1.234,5"_s, 1234.5), std::pair(u"\u00A012"_s, 12.0)})
            QCOMPARE(CalibrationParameterCodec::parseDecimal(text).value_or(-1), value);
        for (const QString& text : {u" \u00A0 "_s, u"abc"_s, u"1e999"_s})
            QVERIFY(!CalibrationParameterCodec::parseDecimal(text));
    }

    // What the master types becomes the value a write sends; refused input changes nothing.
    void setDisplayValue_data()
    {
        QTest::addColumn<int>("did");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("bytes"); // empty: refused
        QTest::newRow("L") << 0xF91C << u" 2136,5 "_s << hex("42C4");
        QTest::newRow("L refused") << 0xF91C << u"9000"_s << QByteArray();
        QTest::newRow("speed") << 0xF92C << u"90,5"_s << hex("5A80");
        QTest::newRow("odometer") << 0xF912 << u"1 000,005"_s << hex("00030D41");
        QTest::newRow("next calibration") << 0xF922 << u"29.09.2029"_s << hex("09742C");
        QTest::newRow("clock") << 0xF90B << u"12:34:56 29/09/2026"_s << hex("E0220C0974297D80");
        QTest::newRow("not an integer keeps the value") << 0xF19A << u"1,5"_s << hex("05DC");
        for (int did : {0xF19A, 0xF918, 0xF91D, 0xF91E})
            QTest::addRow("%x", did) << did << u" 4711 "_s << hex("1267");
        for (int did : {0xF920, 0xFD14, 0xF90F, 0xFD13, 0xFD0F, 0xFD11, 0xF103})
            QTest::addRow("%x", did) << did << u"1"_s << hex("01");
        QTest::newRow("VIN") << 0xF190 << u" WVWZZZ1JZXW000001"_s << QByteArray("WVWZZZ1JZXW000001");
        QTest::newRow("CAN") << 0xFD01 << u"1;2;1 "_s << hex("010201");
    }

    void setDisplayValue()
    {
        QFETCH(int, did);
        QFETCH(QString, text);
        QFETCH(QByteArray, bytes);
        CalibrationParameter p = parameter(did, 1500.0);
        QCOMPARE(CalibrationParameterCodec::setDisplayValue(p, text), !bytes.isEmpty());
        QCOMPARE(p.dirty, !bytes.isEmpty());
        QCOMPARE(CalibrationParameterCodec::encode(p).toHex(),
                 bytes.isEmpty() ? hex("2EE0").toHex() : bytes.toHex());
    }

    // The journal's columns: one per parameter under its name, the lists one per part as integers.
    void journalColumns()
    {
        QStringList columns;
        for (const CalibrationParameter& p : CalibrationParameterCodec::descriptors()) {
            const bool list =
                QList<int>{0xFD01, 0xFD02, 0xFD08, 0xFD09, 0xFD05, 0xFD06, 0xFD07, 0xFD0B}.contains(p.did);
            const QVariantMap fields = CalibrationParameterCodec::databaseFields(
                parameter(p.did, list ? u"1; 2;3;4;5;6;7"_s : u"19;2"_s));
            QStringList shown;
            for (auto it = fields.cbegin(); it != fields.cend(); ++it)
                shown << it.key() + u'=' + it.value().toString();
            columns << shown.join(u',');
        }
        QCOMPARE(columns.mid(0, 6),
                 QStringList({u"TimeDate="_s, u"VuManufacturingDate=19;2"_s, u"VuPartNumber=19;2"_s,
                              u"VuManufacturerName=19;2"_s, u"VuSerialNumber=19;2"_s, QString()}));
        QCOMPARE(
            columns.mid(6, 16).join(u' '),
            u"VuApprovalNumber=19;2 SystemSupplierECUSoftwareVersionNumber=19;2 SSECUHWVN=19;2 "
            u"TachoriaCodeFBU=19;2 VerifyDate=19;2 VehicleIdentificationNumber=19;2 "
            u"VehicleRegistrationNation=19;2 VehicleRegistrationNumber=19;2 "
            u"KConstantOfRecordingEquipment=19;2 "
            u"WVehicleCharacteristicConstant=19;2 LTyreCircumference=19;2 TyreSize=19;2 SpeedAuthorised=19;2 "
            u"NextCalibrationDate= HighResOdometer=19;2 PulsesPerRevolutionOfOutputShaft=19;2"_s);
        QCOMPARE(columns.mid(22, 4).join(u' '),
                 u"CAN1_Enabled=1,CAN1_IdentifierType=3,CAN1_Speed=2 "
                 u"CAN2_Enabled=1,CAN2_IdentifierType=3,CAN2_Speed=2 "
                 u"CAN1_RezEnabled=4,CAN1_TCO2Enabled=1,CAN1_TCO3Enabled=2,CAN1_TCO4Enabled=3 "
                 u"CAN2_RezEnabled=4,CAN2_TCO2Enabled=1,CAN2_TCO3Enabled=2,CAN2_TCO4Enabled=3"_s);
        QCOMPARE(columns.mid(26, 5).join(u' '),
                 u"CANVehicleIdentificationNumber=19;2 CAN1_Interval_TCO1=19 CAN2_Interval_TCO1=19 "
                 u"CAN1_Priority_TCO1=19;2 CAN2_Priority_TCO1=19;2"_s);
        QCOMPARE(
            columns.mid(31, 4).join(u' '),
            u"B6_ActivLevel=2,B6_Enabled=1,B6_K=3 B7_ActivLevel=2,B7_Enabled=1,B7_K=3 "
            u"D6_ActivLevel=2,D6_Enabled=1,D6_K=3 PTO_BreakValue=6,PTO_BreakWarning=2,PTO_MinBreakValue=5,"
            u"PTO_PreBreakWarning=1,PTO_PreRestWarning=3,PTO_RestValue=7,PTO_RestWarning=4"_s);
        QCOMPARE(columns.mid(35), QStringList({QString(), QString(), u"EnableDM1=19;2"_s, QString()}));
        for (int did : {0xFD01, 0xFD08, 0xFD05, 0xFD0B}) // too few parts: no columns
            QCOMPARE(CalibrationParameterCodec::databaseFields(
                         parameter(did, did == 0xFD0B ? u"1;2;3;4;5;6"_s : u"1;2"_s)),
                     QVariantMap());
        const QDateTime moment(QDate(2027, 1, 15), QTime(1, 2, 3), QTimeZone::utc());
        QCOMPARE(CalibrationParameterCodec::databaseFields(parameter(0xF90B, moment)),
                 QVariantMap({{u"TimeDate"_s, moment}}));
        QCOMPARE(CalibrationParameterCodec::databaseFields(parameter(0xF922, moment)),
                 QVariantMap({{u"NextCalibrationDate"_s, moment.date()}}));
    }
};

QTEST_GUILESS_MAIN(TestCalibrationParameterCodec)
#include "test_calibration_parameter_codec.moc"
