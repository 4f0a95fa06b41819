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
        QCOMPARE(vehicles.allModels().size(), 39);
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
        QCOMPARE(stored->manufacturer, u"DAF"_s); // the stored name stays as it was
        QCOMPARE(stored->parameters.value(u"k"_s).toInt(), 6000);
        QCOMPARE(configurations.manufacturers(), QStringList{u"DAF"_s});
        QVERIFY(configurations.remove(id));
        QVERIFY(configurations.all().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestVehicles)
#include "test_vehicles.moc"
