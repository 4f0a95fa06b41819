#include "storage/vehicle_configuration_repository.h"
#include "storage/vehicle_repository.h"
#include "storage_test_profile.h"

#include <QFile>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTest>

using namespace tachoria::storage;
using namespace Qt::StringLiterals;

namespace {

void prepare(const QString& path, const QStringList& statements)
{
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"older"_s);
        db.setDatabaseName(path);
        QVERIFY(db.open());
        QSqlQuery query(db);
        for (const QString& statement : statements)
            QVERIFY2(query.exec(statement), qPrintable(statement));
        db.close();
    }
    QSqlDatabase::removeDatabase(u"older"_s);
}

} // namespace

class TestVehicles : public QObject
{
    Q_OBJECT

    StorageTestProfile m_profile;

    QString path() const { return m_profile.database(u"VehicleDB.db"_s); }

private Q_SLOTS:
    void init()
    {
        QFile::remove(path());
        QFile::remove(m_profile.database(u"VehicleConfigurations.db"_s));
    }

    void seed()
    {
        VehicleRepository vehicles;
        QVERIFY2(vehicles.isOpen(), qPrintable(vehicles.lastError()));
        const auto makes = vehicles.allManufacturers(true);
        QCOMPARE(makes.size(), 15);
        // The shipped catalogue, misspelt names too: id, make, model, TCO1 variant, period, diagnostics,
        // CAN speed and identifier, and the speed ratios.
        QMap<int, QString> names;
        for (const Manufacturer& make : makes)
            names.insert(make.id, make.name);
        QMap<int, QString> dump;
        for (const VehicleModel& m : vehicles.allModels())
            dump.insert(m.id, u"%1|%2|%3|%4%5%6%7%8|%9"_s.arg(m.id)
                                  .arg(names.value(m.manufacturerId), m.name)
                                  .arg(m.tco1Variant)
                                  .arg(int(m.tco1Period))
                                  .arg(m.diagVar)
                                  .arg(int(m.canSpeed))
                                  .arg(int(m.protocol))
                                  .arg(VehicleRepository::ratiosToText(m.speedRatios)));
        QCOMPARE(dump.values(),
                 QStringList({u"1|DAF|LF, CF, XF|31111|8138,8000,6000"_s,
                              u"2|FIAT/PSA|Ducato, Boxer, Jumper|60020|6000"_s,
                              u"3|FORD|Transit (V348/8, mid 2006)|30000|6000"_s,
                              u"4|FORD|Transit (V362/3, 2013)|30000|6000"_s,
                              u"5|FORD|Cargo 1846T|61111|6000,8000,8140"_s,
                              u"6|FORD|Cargo 1848T, F-MAX 1850T|61111|6000,8000,8140"_s,
                              u"7|HINO|FY|61111|6000"_s,
                              u"8|ISUZU|NQR, NPR|61111|6000"_s,
                              u"9|IVECO|Eurocargo, Trakker|81111|6000"_s,
                              u"10|IVECO|Irisbus|81111|6000"_s,
                              u"11|IVECO|Stralis (2013)|71111|6000,8000,8143"_s,
                              u"12|IVECO|Stralis NP (2017)|71111|6000,8000,8143"_s,
                              u"13|IVECO|Daili mid 2006|90111|6000,8000"_s,
                              u"14|IVECO|Daily MY 2012|100121|6000,8000"_s,
                              u"15|IVECO|Daily MY 2014|80121|6000,8000"_s,
                              u"16|KAMAZ|54901|61111|6000"_s,
                              u"17|MAN|TGX, TGX, Neoplan|31111|6000,8000,8138,8140,8143,10126"_s,
                              u"18|MAZ|-|61111|4000,6000"_s,
                              u"19|MERCEDES-BENZ|Sprinter (T1N+NV3) (2010)|50020|10000"_s,
                              u"20|MERCEDES-BENZ|Vito / Viano (NCV3) (2010)|50020|10000"_s,
                              u"21|MERCEDES-BENZ|Sprinter (T1N+NV3)|50020|10000"_s,
                              u"22|MERCEDES-BENZ|Vario (T2W)|50111|10000"_s,
                              u"23|MERCEDES-BENZ|Actros, Axor, Atego|50111|1000"_s,
                              u"24|MERCEDES-BENZ|Actros 4, Antos, Arocs|50121|1000"_s,
                              u"25|RENAULT|Magnim, Kerax, Premium,Midlum|60111|6000"_s,
                              u"26|RENAULT|C, D series (P155x)|60111|6000"_s,
                              u"27|RENAULT|T, K, C series (2016-*)|60111|6000"_s,
                              u"28|SCANIA|R, P series|30111|6000,8897,10000"_s,
                              u"29|SCANIA|S, R (2016-*)|30121|6000,8897,10000"_s,
                              u"30|VOLVO|FM / FH|30111|6000"_s,
                              u"31|VOLVO|FL|30111|6000"_s,
                              u"32|VOLVO|FE / FL (mid 2006)|30111|6000"_s,
                              u"33|VOLVO|FH / FM4 (TEA2+)|80111|6000"_s,
                              u"34|VOLVO|new FE / FL (p155x)|30111|6000"_s,
                              u"35|VOLVO|FH / FM 4 (TEA2+) ADR|80111|6000"_s,
                              u"36|VW|T5|60020|10000"_s,
                              u"37|VW|Crafter|60020|10000"_s,
                              u"38|VW|Crafter 2 (2017-*)|60020|10000"_s,
                              u"39|SITRAC|C7H|31111|8000,10125,12214"_s}));
        const auto daf = vehicles.getManufacturer(0, true);
        QCOMPARE(daf->name, u"DAF"_s);
        QCOMPARE(daf->models.first().speedRatios, (QList<int>{8138, 8000, 6000}));
        const auto daily = vehicles.getModel(13);
        QCOMPARE(daily->name, u"Daili mid 2006"_s);
        QCOMPARE(daily->tco1Variant, 9);
        QCOMPARE(daily->tco1Period, Tco1Period::Ms20);
        QCOMPARE(daily->tco1Priority, 3);
        QCOMPARE(vehicles.getModel(18)->name, u"-"_s);
        QCOMPARE(vehicles.getModel(39)->manufacturerId, 14);
        QCOMPARE(VehicleRepository::ratiosFromText(u"6000,,x,8000"_s), (QList<int>{6000, 8000}));
        // A second start adds nothing.
        VehicleRepository again;
        QCOMPARE(again.allModels().size(), 39);
    }

    void mergeAddsOnlyWhatIsMissing()
    {
        prepare(
            path(),
            {QStringLiteral("CREATE TABLE Manufacturers (Id INTEGER PRIMARY KEY, Name TEXT UNIQUE NOT NULL, "
                            "CreatedAt DATETIME "
                            "DEFAULT CURRENT_TIMESTAMP)"),
             QStringLiteral(
                 "CREATE TABLE Models (Id INTEGER PRIMARY KEY, Name TEXT NOT NULL, ManufacturerId INTEGER "
                 "NOT "
                 "NULL, TCO1priority INTEGER DEFAULT 3, TCO1variant INTEGER DEFAULT 3, TCO1period INTEGER "
                 "DEFAULT 1, DiagVar INTEGER DEFAULT 0, CanSpeed INTEGER DEFAULT 1, Protocol INTEGER DEFAULT "
                 "0, SpeedRatioPrimaryShaft TEXT, CreatedAt DATETIME DEFAULT CURRENT_TIMESTAMP, FOREIGN KEY "
                 "(ManufacturerId) REFERENCES Manufacturers(Id) ON DELETE CASCADE, UNIQUE(ManufacturerId, "
                 "Name))"),
             u"INSERT INTO Manufacturers(Id, Name) VALUES(100, 'DAF')"_s,
             QStringLiteral("INSERT INTO Models(Id, Name, ManufacturerId, TCO1variant) VALUES(500, 'LF, CF, "
                            "XF', 100, 42)")});
        VehicleRepository vehicles;
        QCOMPARE(vehicles.allManufacturers().size(), 15);
        QCOMPARE(vehicles.allModels().size(), 39);
        QCOMPARE(vehicles.getModel(500)->tco1Variant, 42); // existing rows keep their parameters
        const auto makes = vehicles.allManufacturers();
        const auto volvo = std::find_if(makes.begin(), makes.end(), [](const Manufacturer& m) {
            return m.name == QLatin1String("VOLVO");
        });
        QVERIFY(volvo->id > 100); // numbered by the database, not by the seed
    }

    void ownCatalogueStaysUntouched()
    {
        {
            VehicleRepository vehicles;
            QVERIFY(vehicles.resetToEmpty());
            QVERIFY(vehicles.addManufacturer(u"Мой производитель"_s) >= 0);
            QCOMPARE(vehicles.addManufacturer(u" "_s), -1);
            QCOMPARE(vehicles.lastError(), u"Имя производителя не может быть пустым"_s);
        }
        VehicleRepository again;
        QCOMPARE(again.allManufacturers().size(), 1);
        QVERIFY(again.resetToDefault());
        QCOMPARE(again.allModels().size(), 39);
    }

    void deletingAMakeRemovesItsModels()
    {
        VehicleRepository vehicles;
        QVERIFY(vehicles.deleteManufacturer(5)); // IVECO, seven models
        QCOMPARE(vehicles.allModels().size(), 32);
        QVERIFY(vehicles.modelsByManufacturer(5).isEmpty());
    }

    void configurations()
    {
        VehicleConfigurationRepository configurations;
        QVERIFY2(configurations.isOpen(), qPrintable(configurations.lastError()));
        int id = 0;
        QVERIFY(!configurations.save(0, u"DAF"_s, u"XF"_s, {}, &id));
        QCOMPARE(configurations.lastError(),
                 u"Укажите производителя, модель и хотя бы один параметр конфигурации."_s);
        QVERIFY(configurations.save(0, u"DAF"_s, u"XF"_s, {{u"k"_s, 8000}}, &id));
        int again = 0;
        QVERIFY(configurations.save(0, u" daf "_s, u"xf"_s, {{u"k"_s, 6000}}, &again));
        QCOMPARE(again, id);
        const auto stored = configurations.find(u"Daf"_s, u"XF"_s);
        QCOMPARE(stored->manufacturer + u' ' + stored->model,
                 u"DAF XF"_s); // the stored names stay as they were
        QVERIFY(!stored->updatedAt.isEmpty());
        QCOMPARE(configurations.models(u"daf"_s), (QList<QPair<int, QString>>{{id, u"XF"_s}}));
        QVERIFY(configurations.save(id, u"DAF"_s, u"XF"_s, {{u"k"_s, 7000}})); // by its number
        QCOMPARE(configurations.find(id)->parameters.value(u"k"_s).toInt(), 7000);
        QCOMPARE(stored->parameters.value(u"k"_s).toInt(), 6000);
        QCOMPARE(configurations.manufacturers(), QStringList{u"DAF"_s});
        QVERIFY(configurations.remove(id));
        QVERIFY(configurations.all().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestVehicles)
#include "test_vehicles.moc"
