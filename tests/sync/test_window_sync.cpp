// The settings page's synchronisation as a master uses it: a package made with a click shows in the
// list, another shop's package chosen in the dialog is merged, and the page shows the counts and
// the merged directories.
#include "../support/window_driver.h"
#include "installation.h"
#include "qml_controllers/qml_app_controller.h"
#include "qml_controllers/qml_settings_controller.h"
#include "sync/synchronization_manager.h"

#include <QDir>
#include <QQuickItem>
#include <QQuickWindow>
#include <QRegularExpression>
#include <QTest>

using tachoria::test::Installation;
using tachoria::test::WindowDriver;

class TestWindowSync : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void makeAndImportAPackage()
    {
        // Another shop's package, made before this window's shop exists.
        QTemporaryDir otherProfile;
        const Installation other{otherProfile.path(), QCoreApplication::applicationDirPath()};
        QDir(other.programFolder + QStringLiteral("/DATA")).removeRecursively();
        QFile::remove(other.programFolder + QStringLiteral("/Data/driver_cards.db"));
        other.fill(QStringLiteral("Д"), 2, 1);
        const QString package = otherProfile.filePath(QStringLiteral("другой.tsync"));
        QVERIFY(tachoria::sync::SynchronizationManager::exportPackage(package).success);
        QDir(other.programFolder + QStringLiteral("/DATA")).removeRecursively();
        QFile::remove(other.programFolder + QStringLiteral("/Data/driver_cards.db"));

        WindowDriver window;
        QVERIFY(window.start(false));
        QVERIFY(window.click(QStringLiteral("settingsTile")));
        QTRY_VERIFY(window.findVisible(QStringLiteral("settingsPage")));
        QVERIFY(window.click(QStringLiteral("tabProgram")));
        QCOMPARE(window.find(QStringLiteral("syncPackageList"))->property("count").toInt(), 0);
        QVERIFY(!window.find(QStringLiteral("shareSyncPackageButton"))->isEnabled());

        QVERIFY(window.click(QStringLiteral("createSyncPackageButton")));
        QTRY_VERIFY_WITH_TIMEOUT(
            window.text(QStringLiteral("syncStatus")).startsWith(QStringLiteral("Пакет создан: ")), 20000);
        QVERIFY(QRegularExpression(
                    QStringLiteral("^Пакет создан: .*/Tachoria/Data/Sync/TachoriaSync_[0-9_-]+\\.tsync$"))
                    .match(window.text(QStringLiteral("syncStatus")))
                    .hasMatch());
        QTRY_COMPARE(window.find(QStringLiteral("syncPackageList"))->property("count").toInt(), 1);
        QVERIFY(window.find(QStringLiteral("shareSyncPackageButton"))->isEnabled());

        QVERIFY(window.click(QStringLiteral("importSyncPackageButton")));
        QObject* dialog = window.window()->findChild<QObject*>(QStringLiteral("syncPackageDialog"));
        QVERIFY(dialog);
        QTRY_VERIFY(dialog->property("visible").toBool());
        QCOMPARE(dialog->property("title").toString(), QStringLiteral("Выбрать пакет синхронизации"));
        QCOMPARE(dialog->property("nameFilters").toStringList(),
                 QStringList({QStringLiteral("Пакет Tachoria (*.tsync)")}));
        // The dialog drawn by Qt Quick itself: the file is chosen in it, as a click on the row does.
        QObject* chooser = nullptr;
        for (QObject* object : window.window()->findChildren<QObject*>())
            if (object->inherits("QQuickFileDialogImpl"))
                chooser = object;
        QVERIFY(chooser);
        QVERIFY(chooser->setProperty("selectedFile", QUrl::fromLocalFile(package)));
        QVERIFY(QMetaObject::invokeMethod(chooser, "accept"));
        QTRY_VERIFY_WITH_TIMEOUT(!window.app().settings()->syncBusy(), 20000);
        QCOMPARE(window.text(QStringLiteral("settingsErrorLine")), QString());
        QVERIFY2(
            QRegularExpression(
                QStringLiteral("^Синхронизация завершена\\. Добавлено записей: [1-9][0-9]*, файлов: 4\\.$"))
                .match(window.text(QStringLiteral("syncStatus")))
                .hasMatch(),
            qPrintable(window.text(QStringLiteral("syncStatus"))));
        QCOMPARE(window.text(QStringLiteral("settingsErrorLine")), QString());
        QStringList masters;
        for (const QVariant& row : window.app().settings()->masters())
            masters.append(row.toMap().value(QStringLiteral("fullName")).toString());
        QVERIFY2(masters.contains(QStringLiteral("Мастер Д")), qPrintable(masters.join(QLatin1Char(','))));
        QCOMPARE(window.app().settings()->lastSyncPackage(), package);

        // A package that is none: the error line says so and nothing else moves.
        QFile bogus(otherProfile.filePath(QStringLiteral("не пакет.tsync")));
        QVERIFY(bogus.open(QIODevice::WriteOnly));
        bogus.write("text");
        bogus.close();
        QVERIFY(window.app().settings()->importSyncPackage(bogus.fileName()));
        QTRY_COMPARE_WITH_TIMEOUT(window.text(QStringLiteral("settingsErrorLine")),
                                  QStringLiteral("Файл не является пакетом Tachoria."), 20000);
        QCOMPARE(window.app().settings()->lastSyncPackage(), package);
    }
};

QTEST_MAIN(TestWindowSync)
#include "test_window_sync.moc"
