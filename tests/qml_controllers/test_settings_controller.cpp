// The settings behind the settings page, on real SQLite files in a private profile: what the master
// types is validated in the order of the form, stored in one transaction, and read back at the next
// start; the directories and the journal's files as the page shows them.
#include "../support/simulator_process.h"
#include "qml_controllers/journal_files.h"
#include "qml_controllers/qml_helpers.h"
#include "qml_controllers/qml_settings_controller.h"
#include "qml_controllers/settings_validation.h"
#include "qml_controllers/startup_catalogs.h"
#include "storage/app_paths.h"
#include "storage/settings_repository.h"

#include <QApplication>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace tachoria::qml;

namespace {

ShopData validShop()
{
    return {QStringLiteral("ООО «Рога и копыта»"),
            QStringLiteral("443080"),
            QStringLiteral("Самара"),
            QStringLiteral("ул. Ленина, 1"),
            QStringLiteral("+7 (912) 345-67-89"),
            QStringLiteral("1234")};
}

void fill(QmlSettingsController& settings, const ShopData& shop)
{
    settings.setTachoriaName(shop.name);
    settings.setTachoriaPost(shop.post);
    settings.setTachoriaCity(shop.city);
    settings.setTachoriaStreet(shop.street);
    settings.setTachoriaPhone(shop.phone);
    settings.setTachoriaMark(shop.mark);
}

QStringList names(const QVariantList& rows, const char* key)
{
    QStringList out;
    for (const QVariant& row : rows)
        out << row.toMap().value(QString::fromLatin1(key)).toString();
    return out;
}

} // namespace

class TestSettingsController : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_profile;

private Q_SLOTS:
    void initTestCase()
    {
        qputenv("LOCALAPPDATA", m_profile.path().toLocal8Bit());
        tachoria::storage::AppPaths::ensureDirectories();
    }

    void validation_data()
    {
        QTest::addColumn<QString>("field");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("error");
        const QString required =
            QStringLiteral("Заполните обязательное поле «%1». Обязательны все данные мастерской.");
        const QString nameRule =
            QStringLiteral("Наименование мастерской: используйте буквы и допустимые знаки "
                           "препинания, без цифр; не более 100 символов.");
        const QString phoneRule =
            QStringLiteral("Российский телефон должен содержать 10 цифр без кода страны или 11 "
                           "цифр с кодом 7/8. Допустимы только +, пробелы, скобки, точка и "
                           "дефис.");
        const QString cityRule = QStringLiteral(
            "Город: используйте название буквами и допустимые знаки адреса; не более 100 символов.");
        const QString streetRule = QStringLiteral(
            "Улица и номер дома: используйте буквы, цифры и знаки адреса; не более 150 символов.");
        QTest::newRow("all valid") << QString() << QString() << QString();
        QTest::newRow("name missing") << "name"
                                      << "  " << required.arg(QStringLiteral("Наименование мастерской"));
        QTest::newRow("post missing") << "post"
                                      << "" << required.arg(QStringLiteral("Индекс"));
        QTest::newRow("city missing") << "city"
                                      << "" << required.arg(QStringLiteral("Город"));
        QTest::newRow("street missing") << "street"
                                        << "" << required.arg(QStringLiteral("Улица"));
        QTest::newRow("phone missing") << "phone"
                                       << "" << required.arg(QStringLiteral("Телефон"));
        QTest::newRow("mark missing") << "mark"
                                      << "" << required.arg(QStringLiteral("Допуск РФ №"));
        QTest::newRow("name with digits") << "name"
                                          << "ООО 123" << nameRule;
        QTest::newRow("name of signs only") << "name"
                                            << "«-»" << nameRule;
        QTest::newRow("name of 101 letters") << "name" << QString(101, QChar(0x0416)) << nameRule;
        QTest::newRow("name of 100 letters") << "name" << QString(100, QChar(0x0416)) << QString();
        QTest::newRow("latin name with signs") << "name"
                                               << "Tacho & Co. (Samara)" << QString();
        QTest::newRow("post of five digits")
            << "post"
            << "12345" << QStringLiteral("Индекс должен состоять ровно из 6 цифр.");
        QTest::newRow("post with a letter")
            << "post"
            << "44308А" << QStringLiteral("Индекс должен состоять ровно из 6 цифр.");
        QTest::newRow("city of 101") << "city" << QString(101, QLatin1Char('a')) << cityRule;
        QTest::newRow("city with a colon") << "city"
                                           << "Самара: центр" << cityRule;
        QTest::newRow("street of 151") << "street" << QString(151, QLatin1Char('a')) << streetRule;
        QTest::newRow("street of 150") << "street" << QString(150, QLatin1Char('a')) << QString();
        QTest::newRow("street with a semicolon") << "street"
                                                 << "Ленина; 1" << streetRule;
        QTest::newRow("phone +8") << "phone"
                                  << "+8 912 345 67 89" << phoneRule;
        QTest::newRow("phone opening bracket") << "phone"
                                               << "(912" << phoneRule;
        QTest::newRow("phone 8 and ten more") << "phone"
                                              << "8 912 345 67 89" << QString();
        QTest::newRow("phone ten digits") << "phone"
                                          << "912 345 67 89" << QString();
        QTest::newRow("phone +7 and ten") << "phone"
                                          << "+7.912.345.67.89" << QString();
        QTest::newRow("phone +ten digits") << "phone"
                                           << "+912 345 67 89" << phoneRule;
        QTest::newRow("phone 11 beginning 9") << "phone"
                                              << "99123456789" << phoneRule;
        QTest::newRow("phone nine digits") << "phone"
                                           << "912 345 678" << phoneRule;
        QTest::newRow("phone nested brackets") << "phone"
                                               << "8 ((912)) 345-67-89" << phoneRule;
        QTest::newRow("phone bracket left open") << "phone"
                                                 << "8 (912 345-67-89" << phoneRule;
        QTest::newRow("phone closing first") << "phone"
                                             << "8 )912( 345-67-89" << phoneRule;
        QTest::newRow("phone ends with a sign") << "phone"
                                                << "8 912 345 67 89-" << phoneRule;
        QTest::newRow("phone with a letter") << "phone"
                                             << "8 912 345 67 8x9" << phoneRule;
        QTest::newRow("phone of 33 characters")
            << "phone" << QStringLiteral("8 912 345 67 89%1 0").arg(QString(16, QLatin1Char(' ')))
            << phoneRule;
        QTest::newRow("mark of six") << "mark"
                                     << "123456"
                                     << QStringLiteral("Номер допуска / клеймо должен состоять из 1–5 цифр.");
        QTest::newRow("mark trimmed") << "mark"
                                      << " 12345 " << QString();
        // The first fault in the form's order wins.
        QTest::newRow("post before phone")
            << "post+phone"
            << "1" << QStringLiteral("Индекс должен состоять ровно из 6 цифр.");
    }

    void validation()
    {
        QFETCH(QString, field);
        QFETCH(QString, value);
        ShopData shop = validShop();
        const QStringList fields = field.split(QLatin1Char('+'));
        for (const QString& name : fields) {
            QString* target = name == QLatin1String("name")     ? &shop.name
                              : name == QLatin1String("post")   ? &shop.post
                              : name == QLatin1String("city")   ? &shop.city
                              : name == QLatin1String("street") ? &shop.street
                              : name == QLatin1String("phone")  ? &shop.phone
                              : name == QLatin1String("mark")   ? &shop.mark
                                                                : nullptr;
            if (target)
                *target = value;
        }
        QTEST(validateShopData(shop), "error");
    }

    // Saved values come back in a new controller (the next start); a refused save keeps the stored ones
    // and what the master typed.
    void saveAndReload()
    {
        {
            QmlSettingsController settings;
            fill(settings, validShop());
            settings.setTachoriaNumber(QStringLiteral(" 0042 "));
            settings.setCalibrationPort(QStringLiteral("/dev/ttyUSB3"));
            settings.setCalibrationBaud(9600);
            settings.setDownloadPort(QStringLiteral("/dev/serial/by-id/usb-tacho"));
            settings.setDownloadStartBaud(19200);
            settings.setDownloadMaxBaud(57600);
            settings.setRalonaPort(QStringLiteral("/dev/ttyUSB4"));
            settings.setUseRalona(true);
            settings.setCardReader(QStringLiteral("Virtual PCD 00 00"));
            settings.setPrinterAct(QStringLiteral("PDF"));
            settings.setScanPorts(false);
            settings.setFullScreen(true);
            settings.setFontSize(14);
            QVERIFY(settings.hasUnsavedChanges());
            QVERIFY2(settings.save(), qPrintable(settings.lastError()));
            QVERIFY(!settings.hasUnsavedChanges());
        }
        QmlSettingsController settings;
        QCOMPARE(settings.tachoriaName(), QStringLiteral("ООО «Рога и копыта»"));
        QCOMPARE(settings.tachoriaNumber(), QStringLiteral("0042"));
        QCOMPARE(settings.calibrationPort(), QStringLiteral("/dev/ttyUSB3"));
        QCOMPARE(settings.calibrationBaud(), 9600);
        QCOMPARE(settings.downloadPort(), QStringLiteral("/dev/serial/by-id/usb-tacho"));
        QCOMPARE(settings.downloadStartBaud(), 19200);
        QCOMPARE(settings.downloadMaxBaud(), 57600);
        QCOMPARE(settings.ralonaPort(), QStringLiteral("/dev/ttyUSB4"));
        QCOMPARE(settings.useRalona(), true);
        QCOMPARE(settings.cardReader(), QStringLiteral("Virtual PCD 00 00"));
        QCOMPARE(settings.printerAct(), QStringLiteral("PDF"));
        QCOMPARE(settings.printerLabel(), QStringLiteral("По умолчанию")); // never chosen
        QCOMPARE(settings.scanPorts(), false);
        QCOMPARE(settings.fullScreen(), true);
        QCOMPARE(settings.fontSize(), 14);
        QVERIFY(!settings.hasUnsavedChanges());

        settings.setTachoriaPost(QStringLiteral("12345"));
        settings.setCalibrationPort(QStringLiteral("/dev/ttyS7"));
        QVERIFY(!settings.save());
        QCOMPARE(settings.lastError(), QStringLiteral("Индекс должен состоять ровно из 6 цифр."));
        QCOMPARE(settings.tachoriaPost(), QStringLiteral("12345"));
        QCOMPARE(settings.calibrationPort(), QStringLiteral("/dev/ttyS7"));
        QVERIFY(settings.hasUnsavedChanges());
        tachoria::storage::SettingsRepository stored;
        QCOMPARE(stored.value(QStringLiteral("TACHORIA"), QStringLiteral("post")), QStringLiteral("443080"));
        QCOMPARE(stored.value(QStringLiteral("Ports"), QStringLiteral("CalibrationPortName")),
                 QStringLiteral("/dev/ttyUSB3"));
        settings.reload();
        QCOMPARE(settings.tachoriaPost(), QStringLiteral("443080"));
        QVERIFY(!settings.hasUnsavedChanges());
    }

    void fontSizeAndScale_data()
    {
        QTest::addColumn<int>("requested");
        QTest::addColumn<int>("stored");
        QTest::addColumn<double>("scale");
        QTest::addColumn<int>("pixelSize");
        QTest::newRow("7 is raised to 8") << 7 << 8 << 0.75 << 11;
        QTest::newRow("9 stops the scale at 0.75") << 9 << 9 << 0.75 << 12;
        QTest::newRow("12 is the design size") << 12 << 12 << 1.0 << 16;
        QTest::newRow("13 rounds its pixels") << 13 << 13 << 13 / 12.0 << 17;
        QTest::newRow("31 is lowered to 30") << 31 << 30 << 2.5 << 40;
    }

    void fontSizeAndScale()
    {
        QFETCH(int, requested);
        QmlSettingsController settings;
        settings.setFontSize(requested);
        QTEST(settings.fontSize(), "stored");
        QTEST(settings.uiScale(), "scale");
        QTEST(settings.uiPixelSize(), "pixelSize");
        QCOMPARE(QApplication::font().pointSize(), settings.fontSize()); // at once, for the whole program
    }

    void themeIsLightUnlessDark()
    {
        QmlSettingsController settings;
        settings.setTheme(QStringLiteral(" dark "));
        QCOMPARE(settings.theme(), QStringLiteral("Dark"));
        QCOMPARE(QApplication::palette().color(QPalette::Window), QColor(QStringLiteral("#20252b")));
        settings.setTheme(QStringLiteral("Blue"));
        QCOMPARE(settings.theme(), QStringLiteral("Light"));
        QCOMPARE(QApplication::palette().color(QPalette::Text), QColor(QStringLiteral("#202020")));
    }

    void detectedPortJoinsTheList()
    {
        QmlSettingsController settings;
        settings.applyStartupCatalogs({QStringLiteral("/dev/ttyS0"), QStringLiteral("/dev/ttyUSB0")}, {}, {},
                                      {}, {});
        QSignalSpy ports(&settings, &QmlSettingsController::portsChanged);
        settings.includeDetectedPort(QStringLiteral("  "));
        settings.includeDetectedPort(QStringLiteral("/dev/ttyS0"));
        QCOMPARE(ports.count(), 0);
        settings.includeDetectedPort(QStringLiteral("/dev/TTYUSB0"));
        settings.includeDetectedPort(QStringLiteral("\\\\.\\/tmp/tacho"));
        QCOMPARE(ports.count(), 2);
        QCOMPARE(settings.ports(), (QStringList{QStringLiteral("/tmp/tacho"), QStringLiteral("/dev/ttyS0"),
                                                QStringLiteral("/dev/TTYUSB0")}));
    }

    // Lists are signalled only when they change; the directories always.
    void catalogsSignalChangesOnly()
    {
        QmlSettingsController settings;
        const QStringList ports{QStringLiteral("/dev/ttyS0")};
        const QStringList printers{QStringLiteral("По умолчанию"), QStringLiteral("PDF")};
        settings.applyStartupCatalogs(ports, {}, printers, {}, {});
        QSignalSpy portsSpy(&settings, &QmlSettingsController::portsChanged);
        QSignalSpy readersSpy(&settings, &QmlSettingsController::readersChanged);
        QSignalSpy printersSpy(&settings, &QmlSettingsController::printersChanged);
        QSignalSpy mastersSpy(&settings, &QmlSettingsController::mastersChanged);
        QSignalSpy customersSpy(&settings, &QmlSettingsController::customersChanged);
        settings.applyStartupCatalogs(ports, {QStringLiteral("Не обнаружен")}, printers, {}, {});
        QCOMPARE(portsSpy.count(), 0);
        QCOMPARE(readersSpy.count(), 1);
        QCOMPARE(printersSpy.count(), 0);
        QCOMPARE(mastersSpy.count(), 1);
        QCOMPARE(customersSpy.count(), 1);
    }

    void printerChoicesDropNoteTakers()
    {
        QCOMPARE(printerChoices({QStringLiteral("Send To OneNote 2016"), QStringLiteral("PDF"),
                                 QStringLiteral("ONENOTE for Windows 10")}),
                 (QStringList{QStringLiteral("По умолчанию"), QStringLiteral("PDF")}));
    }

    // A lower-case search finds upper-case Cyrillic names; a removed row shows only on request.
    void directories()
    {
        QmlSettingsController settings;
        QVERIFY(!settings.addMaster(QStringLiteral("   ")));
        QVERIFY(settings.addMaster(QStringLiteral("Пётр Сергеевич ЁЛКИН")));
        QVERIFY(settings.addMaster(QStringLiteral("Анна Смирнова")));
        settings.refreshMastersFiltered(QStringLiteral("елкин"), false);
        QCOMPARE(names(settings.masters(), "fullName"), QStringList{QStringLiteral("Пётр Сергеевич ЁЛКИН")});
        const int id = settings.masters().first().toMap().value(QStringLiteral("id")).toInt();
        QVERIFY(settings.updateMaster(id, QStringLiteral("Пётр Ёлкин")));
        QCOMPARE(names(settings.masters(), "fullName"), QStringList{QStringLiteral("Пётр Ёлкин")});
        QVERIFY(settings.removeMaster(id));
        QCOMPARE(settings.masters().size(), 0);
        settings.refreshMastersFiltered(QStringLiteral("ёлкин"), true);
        QCOMPARE(settings.masters().size(), 1);
        QCOMPARE(settings.masters().first().toMap().value(QStringLiteral("isActive")).toBool(), false);
        QVERIFY(settings.restoreMaster(id));
        settings.refreshMastersFiltered(QString(), false);
        QCOMPARE(settings.masters().size(), 2);

        QVERIFY(settings.addCustomer(QStringLiteral("ООО «ДЕМО-ТРАНС»"),
                                     QStringLiteral("Самара, ул. Примерная, 1"),
                                     QStringLiteral("+7 (846) 000-00-01")));
        QVERIFY(
            settings.addCustomer(QStringLiteral("ИП Сидоров"), QString(), QStringLiteral("8 900 000 00 00")));
        settings.refreshCustomers(QStringLiteral("ооо «демо"), false);
        QCOMPARE(names(settings.customers(), "name"), QStringList{QStringLiteral("ООО «ДЕМО-ТРАНС»")});
        const QVariantMap customer = settings.customers().first().toMap();
        QCOMPARE(customer.value(QStringLiteral("address")).toString(),
                 QStringLiteral("Самара, ул. Примерная, 1"));
        QVERIFY(settings.updateCustomer(customer.value(QStringLiteral("id")).toInt(),
                                        QStringLiteral("ООО «ДЕМО»"), QString(),
                                        QStringLiteral("+7 846 000 00 02")));
        settings.refreshCustomers(QStringLiteral("000 00 02"), false);
        QCOMPARE(names(settings.customers(), "name"), QStringList{QStringLiteral("ООО «ДЕМО»")});
        QVERIFY(settings.removeCustomer(customer.value(QStringLiteral("id")).toInt()));
        QCOMPARE(settings.customers().size(), 0);
        QVERIFY(!settings.removeCustomer(99999));
    }

    // The adapter is looked for on every port, the configured ones included; its port is taken.
    void findRalonaOnItsPort()
    {
        tachoria::test::SimulatorProcess simulator({}, true);
        QString error;
        QVERIFY2(simulator.start(&error), qPrintable(error));
        tachoria::storage::SettingsRepository stored;
        stored.setValue(QStringLiteral("Ports"), QStringLiteral("RalonaPortName"), simulator.adapterLink());
        QmlSettingsController settings;
        QVERIFY(settings.findRalona());
        QCOMPARE(settings.lastError(),
                 QStringLiteral("Ралона найдена на порту %1").arg(simulator.adapterLink()));
        QCOMPARE(settings.ralonaPort(), simulator.adapterLink());
        QVERIFY(settings.useRalona());
        QVERIFY(settings.ports().contains(simulator.adapterLink()));
        QVERIFY(simulator.stop());
        QVERIFY(!settings.findRalona());
        QCOMPARE(settings.lastError(), QStringLiteral("Ралона не найдена"));
        QVERIFY(!settings.useRalona());
    }

    void journalFiles()
    {
        QTemporaryDir folder;
        const auto write = [&](const QString& name, const QByteArray& bytes) {
            QFile file(folder.filePath(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(bytes);
        };
        write(QStringLiteral("Tachoria.log"), QByteArray(1, 'x'));
        write(QStringLiteral("Tachoria.log.7"), QByteArray(1024, 'x'));
        write(QStringLiteral("Tachoria_2024-01-02.log"), QByteArray(1025, 'x'));
        write(QStringLiteral("Tachoria_2024-01-02.log.1"), QByteArray(1024 * 1024 + 104858, 'x'));
        write(QStringLiteral("Tachoria.txt"), "x");
        write(QStringLiteral("Other.log"), "x");
        QMap<QString, QString> sizes;
        for (const QVariant& row : journal::files(folder.path()))
            sizes.insert(row.toMap().value(QStringLiteral("name")).toString(),
                         row.toMap().value(QStringLiteral("size")).toString());
        QCOMPARE(sizes, (QMap<QString, QString>{
                            {QStringLiteral("Tachoria.log"), QStringLiteral("1 КБ")},
                            {QStringLiteral("Tachoria.log.7"), QStringLiteral("1 КБ")},
                            {QStringLiteral("Tachoria_2024-01-02.log"), QStringLiteral("2 КБ")},
                            {QStringLiteral("Tachoria_2024-01-02.log.1"), QStringLiteral("1.1 МБ")}}));
        QCOMPARE(journal::removeFiles(folder.path()), 0);
        QVERIFY(QFile::exists(folder.filePath(QStringLiteral("Other.log"))));
        QCOMPARE(journal::files(folder.path()).size(), 0);
    }

    void journalEntries()
    {
        QTemporaryDir folder;
        QFile file(folder.filePath(QStringLiteral("Tachoria.log")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("{\"Category\":\"serial.io\",\"level\":\"warning\",\"message\":\"нет ответа\","
                   "\"operation\":\"read\",\"timestamp\":\"2026-03-01T10:15:42.123Z\",\"pid\":7}\n"
                   "\n"
                   "plain text line\n"
                   "{\"message\":\"no level\",\"timestamp\":\"later\"}\n");
        file.close();
        const QVariantList entries = journal::entries(file.fileName());
        QCOMPARE(entries.size(), 3);
        const QVariantMap first = entries.at(0).toMap();
        QCOMPARE(first.value(QStringLiteral("category")).toString(), QStringLiteral("serial.io"));
        QCOMPARE(first.value(QStringLiteral("pid")).toInt(), 7);
        QCOMPARE(first.value(QStringLiteral("timestampDisplay")).toString(),
                 QDateTime(QDate(2026, 3, 1), QTime(10, 15, 42, 123), Qt::UTC)
                     .toLocalTime()
                     .toString(QStringLiteral("dd.MM.yyyy HH:mm:ss.zzz")));
        const QVariantMap plain = entries.at(1).toMap();
        QCOMPARE(plain.value(QStringLiteral("level")).toString(), QStringLiteral("info"));
        QCOMPARE(plain.value(QStringLiteral("message")).toString(), QStringLiteral("plain text line"));
        QCOMPARE(plain.value(QStringLiteral("raw")).toString(), QStringLiteral("plain text line"));
        const QVariantMap bare = entries.at(2).toMap();
        QCOMPARE(bare.value(QStringLiteral("level")).toString(), QString());
        QCOMPARE(bare.value(QStringLiteral("category")).toString(), QString());
        QCOMPARE(bare.value(QStringLiteral("timestampDisplay")).toString(), QStringLiteral("later"));

        // The viewer's filters key on these words.
        JournalEntryModel model;
        model.setEntries(entries);
        QCOMPARE(model.rowCount(), 3);
        const auto shown = [&](const QString& filter, const QString& search) {
            model.setFilter(filter, search);
            QStringList messages;
            for (int row = 0; row < model.rowCount(); ++row)
                messages << model.data(model.index(row), JournalEntryModel::MessageRole).toString();
            return messages;
        };
        QCOMPARE(shown(QStringLiteral("errors"), QString()), QStringList{QStringLiteral("нет ответа")});
        QCOMPARE(shown(QStringLiteral("other"), QString()).size(), 3);
        QCOMPARE(shown(QStringLiteral("all"), QStringLiteral("НЕТ")),
                 QStringList{QStringLiteral("нет ответа")});
        QCOMPARE(shown(QStringLiteral("all"), QStringLiteral("42.123")),
                 QStringList{QStringLiteral("нет ответа")});
        QCOMPARE(shown(QStringLiteral("all"), QStringLiteral("PLAIN")),
                 QStringList{QStringLiteral("plain text line")});
    }

    void journalFilters_data()
    {
        QTest::addColumn<QString>("filter");
        QTest::addColumn<QString>("level");
        QTest::addColumn<QString>("category");
        QTest::addColumn<bool>("shown");
        QTest::newRow("errors: warning") << "errors"
                                         << "warning"
                                         << "x" << true;
        QTest::newRow("errors: critical") << "errors"
                                          << "CRITICAL"
                                          << "x" << true;
        QTest::newRow("errors: info") << "errors"
                                      << "info"
                                      << "x" << false;
        QTest::newRow("protocol exactly") << "protocol"
                                          << "debug"
                                          << "Protocol" << true;
        QTest::newRow("protocol is not serial.io") << "protocol"
                                                   << "debug"
                                                   << "serial.io" << false;
        QTest::newRow("bluetooth.probe is other") << "bluetooth"
                                                  << "info"
                                                  << "bluetooth.probe" << false;
        QTest::newRow("firmware.update") << "firmware.update"
                                         << "info"
                                         << "firmware.update" << true;
        QTest::newRow("other: calibration") << "other"
                                            << "info"
                                            << "calibration" << false;
        QTest::newRow("other: download") << "other"
                                         << "info"
                                         << "download" << false;
        QTest::newRow("other: application") << "other"
                                            << "info"
                                            << "application" << true;
    }

    void journalFilters()
    {
        QFETCH(QString, filter);
        QFETCH(QString, level);
        QFETCH(QString, category);
        QTEST(JournalEntryModel::matchesFilter(filter, level, category), "shown");
    }

    void longMessagesAreCut()
    {
        JournalEntryModel model;
        model.setEntries({QVariantMap{{QStringLiteral("message"), QString(261, QLatin1Char('m'))}}});
        const QString shown = model.data(model.index(0), JournalEntryModel::MessageRole).toString();
        QCOMPARE(shown, QString(260, QLatin1Char('m')) + QChar(0x2026));
    }

    void logPathsStayInTheJournalFolder_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("inside");
        QTest::newRow("the journal") << "/var/log/tachoria/Tachoria.log" << true;
        QTest::newRow("an archive below") << "/var/log/tachoria/old/Tachoria.log.1" << true;
        QTest::newRow("the folder itself") << "/var/log/tachoria" << false;
        QTest::newRow("a neighbour") << "/var/log/tachoria2/Tachoria.log" << false;
        QTest::newRow("up and back") << "/var/log/tachoria/../tachoria/Tachoria.log" << true;
        QTest::newRow("up and out") << "/var/log/tachoria/../secret" << false;
        QTest::newRow("empty") << "" << false;
    }

    void logPathsStayInTheJournalFolder()
    {
        QFETCH(QString, path);
        QFETCH(bool, inside);
        QCOMPARE(!validatedLogPath(path, QStringLiteral("/var/log/tachoria")).isEmpty(), inside);
    }

    void documentDates_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QString>("shown");
        QTest::newRow("empty") << QVariant(QStringLiteral("  ")) << QString();
        QTest::newRow("SQLite time stamp")
            << QVariant(QStringLiteral("2026-03-01 10:15:42")) << "01.03.2026 10:15";
        QTest::newRow("ISO date") << QVariant(QStringLiteral("2026-03-01")) << "01.03.2026";
        QTest::newRow("a date value") << QVariant(QDate(2026, 12, 31)) << "31.12.2026";
        QTest::newRow("not a date") << QVariant(QStringLiteral(" по заявке ")) << "по заявке";
    }

    void documentDates()
    {
        QFETCH(QVariant, value);
        QTEST(documentDate(value), "shown");
    }

    void portsSortByNumber()
    {
        QStringList ports{QStringLiteral("COM10"), QStringLiteral("/dev/ttyUSB2"), QStringLiteral("COM2"),
                          QStringLiteral("/dev/tacho")};
        std::stable_sort(ports.begin(), ports.end(), portNameLess);
        QCOMPARE(ports, (QStringList{QStringLiteral("/dev/tacho"), QStringLiteral("/dev/ttyUSB2"),
                                     QStringLiteral("COM2"), QStringLiteral("COM10")}));
    }

    void firmwareFailureWords_data()
    {
        QTest::addColumn<QString>("technical");
        QTest::addColumn<QString>("start");
        QTest::newRow("refusal") << "Tachograph negative response 0x22"
                                 << "Тахограф отклонил команду обновления.";
        QTest::newRow("time-out") << "read TIMEOUT after 5000 ms"
                                  << "Не удалось получить ответ от тахографа";
        QTest::newRow("russian time-out") << "Тайм-аут ожидания"
                                          << "Не удалось получить ответ от тахографа";
        QTest::newRow("port gone") << "Device disconnected"
                                   << "Не удалось получить ответ от тахографа";
        QTest::newRow("not open") << "port not open"
                                  << "Не удалось получить ответ от тахографа";
        QTest::newRow("anything else") << "CRC mismatch"
                                       << "Не удалось завершить обновление.";
    }

    void firmwareFailureWords()
    {
        QFETCH(QString, technical);
        QFETCH(QString, start);
        QVERIFY2(firmwareUpdateStatusForUser(technical).startsWith(start),
                 qPrintable(firmwareUpdateStatusForUser(technical)));
    }
};

QTEST_MAIN(TestSettingsController)
#include "test_settings_controller.moc"
