// The program's start as a process: the test modes and their exit codes, a QML warning failing them,
// the takeover of an earlier instance by SIGTERM (and the refusal when it does not leave), and the
// demonstration that finds its own simulated tachograph. These start real instances, which ask every
// other instance to leave, so CTest runs this test alone.
#include "../support/process_runner.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using tachoria::test::binaryPath;
using tachoria::test::journalRecords;

namespace {

QProcessEnvironment environmentWithProfile(const QString& profile)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LOCALAPPDATA"), profile);
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    return environment;
}

struct Run
{
    int exitCode = -1;
    QString output;
    QString errors;
};

Run run(const QString& program, const QStringList& arguments, const QString& profile, int timeoutMs = 60000)
{
    QProcess process;
    process.setProcessEnvironment(environmentWithProfile(profile));
    process.start(program, arguments);
    Run result;
    if (!process.waitForStarted(10000))
        return result;
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished(5000);
    }
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.output = QString::fromUtf8(process.readAllStandardOutput());
    result.errors = QString::fromUtf8(process.readAllStandardError());
    return result;
}

QString journal()
{
    return binaryPath(QStringLiteral("Tachoria.log"));
}

bool sawFirstFrame(qint64 pid)
{
    const QList<QVariantMap> records = journalRecords(journal(), pid);
    return std::any_of(records.cbegin(), records.cend(), [](const QVariantMap& record) {
        return record.value(QStringLiteral("operation")).toString() == QLatin1String("first-frame");
    });
}

// A copy of the program in a folder of its own: its own "Settings.ini" and import folder "qml".
bool copyProgram(const QTemporaryDir& folder, const QStringList& programs)
{
    for (const QString& program : programs) {
        if (!QFile::copy(binaryPath(program), folder.filePath(program)))
            return false;
    }
    return true;
}

} // namespace

class TestApplicationStart : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_profile;

private Q_SLOTS:
    void testModes_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("parse test") << QStringList{QStringLiteral("--qml-parse-test")} << 0;
        QTest::newRow("pages test") << QStringList{QStringLiteral("--qml-pages-test")} << 0;
        QTest::newRow("navigation test") << QStringList{QStringLiteral("--qml-navigation-test")} << 0;
        // The walk goes on through the DDD page with a file: every section's table, back to the menu.
        for (const char* name : {"card_gen1_gen2_dfs.ddd", "vu_gen1.ddd"})
            QTest::newRow(name) << QStringList{QStringLiteral("--qml-navigation-test"),
                                               QStringLiteral("--ddd-test-file"),
                                               QStringLiteral(TACHORIA_SOURCE_DIR "/tests/ddd/samples/") +
                                                   QLatin1String(name)}
                                << 0;
        QTest::newRow("smoke test") << QStringList{QStringLiteral("--qml-smoke-test")} << 0;
    }

    void testModes()
    {
        QFETCH(QStringList, arguments);
        const Run result = run(binaryPath(QStringLiteral("tachoria")), arguments, m_profile.path());
        QVERIFY2(!result.errors.contains(QLatin1String("qrc:/qml/")), qPrintable(result.errors));
        QTEST(result.exitCode, "exitCode");
    }

    // The program's own folder comes first among the import paths: a module there with a faulty
    // binding replaces the built-in one, and both page tests must fail on its warning.
    void aWarningFailsThePageTests()
    {
        QTemporaryDir folder;
        QVERIFY(copyProgram(folder, {QStringLiteral("tachoria")}));
        QDir module(folder.filePath(QStringLiteral("qml/Tachoria")));
        QVERIFY(module.mkpath(QStringLiteral(".")));
        const QDir source(QStringLiteral(TACHORIA_SOURCE_DIR "/qml/Tachoria"));
        for (const QString& name : source.entryList(QDir::Files))
            QVERIFY(QFile::copy(source.filePath(name), module.filePath(name)));
        QFile label(module.filePath(QStringLiteral("AppLabel.qml")));
        QVERIFY(label.setPermissions(label.permissions() | QFileDevice::WriteOwner));
        QVERIFY(label.open(QIODevice::ReadWrite));
        QByteArray text = label.readAll();
        text.replace("    property bool secondary: false\n",
                     "    property bool secondary: false\n    property int faulty: missingObject.width\n");
        label.resize(0);
        label.write(text);
        label.close();

        const QString program = folder.filePath(QStringLiteral("tachoria"));
        const Run pages = run(program, {QStringLiteral("--qml-pages-test")}, m_profile.path());
        QCOMPARE(pages.exitCode, 1);
        QVERIFY2(pages.errors.contains(QLatin1String("missingObject is not defined")),
                 qPrintable(pages.errors));
        QCOMPARE(run(program, {QStringLiteral("--qml-navigation-test")}, m_profile.path()).exitCode, 1);
    }

    // A second instance asks the first to leave; the first ends its event loop in order (code 0).
    void secondInstanceTakesOver()
    {
        QProcess first;
        first.setProcessEnvironment(environmentWithProfile(m_profile.path()));
        first.start(binaryPath(QStringLiteral("tachoria")));
        QVERIFY(first.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(sawFirstFrame(first.processId()), 20000);

        QProcess second;
        second.setProcessEnvironment(environmentWithProfile(m_profile.path()));
        second.start(binaryPath(QStringLiteral("tachoria")));
        QVERIFY(second.waitForStarted());
        QVERIFY(first.waitForFinished(10000));
        QCOMPARE(first.exitStatus(), QProcess::NormalExit);
        QCOMPARE(first.exitCode(), 0);
        QTRY_VERIFY_WITH_TIMEOUT(sawFirstFrame(second.processId()), 20000);
        second.terminate();
        QVERIFY(second.waitForFinished(10000));
        QCOMPARE(second.exitCode(), 0);
    }

    // An instance that cannot leave (here: stopped) holds the port; the new one gives up after 5 s
    // with the reason and exit code 6.
    void stuckInstanceStopsTheStart()
    {
        QProcess first;
        first.setProcessEnvironment(environmentWithProfile(m_profile.path()));
        first.start(binaryPath(QStringLiteral("tachoria")));
        QVERIFY(first.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(sawFirstFrame(first.processId()), 20000);
        ::kill(pid_t(first.processId()), SIGSTOP);

        QProcess second;
        second.setProcessEnvironment(environmentWithProfile(m_profile.path()));
        second.start(binaryPath(QStringLiteral("tachoria")));
        QVERIFY(second.waitForStarted());
        const qint64 secondPid = second.processId();
        const QString reason =
            QStringLiteral("Не удалось освободить предыдущий экземпляр программы.\n\nСтарый процесс "
                           "Tachoria (PID %1) не закрылся штатно. Закройте его вручную и "
                           "повторите запуск.")
                .arg(first.processId());
        QString errors;
        QTRY_VERIFY_WITH_TIMEOUT(
            (errors += QString::fromUtf8(second.readAllStandardError())).contains(reason), 15000);
        // The message box waits for the master; SIGTERM closes it as it closes the program.
        second.terminate();
        QVERIFY(second.waitForFinished(10000));
        QCOMPARE(second.exitCode(), 6);
        const QList<QVariantMap> records = journalRecords(journal(), secondPid);
        QVERIFY(std::any_of(records.cbegin(), records.cend(), [&reason](const QVariantMap& record) {
            return record.value(QStringLiteral("message")).toString() == reason;
        }));

        ::kill(pid_t(first.processId()), SIGCONT); // its SIGTERM was waiting
        QVERIFY(first.waitForFinished(10000));
        QCOMPARE(first.exitCode(), 0);
    }

    // The demonstration: its own simulator on a pseudo-terminal, found by the scan, shown in the
    // menu in the theme of the program folder's "Settings.ini"; the simulator ends with the program.
    void demonstrationFindsItsTachograph()
    {
        QTemporaryDir folder;
        QVERIFY(copyProgram(folder, {QStringLiteral("tachoria"), QStringLiteral("tachoria-sim")}));
        QFile ini(folder.filePath(QStringLiteral("Settings.ini")));
        QVERIFY(ini.open(QIODevice::WriteOnly));
        ini.write("[Appearance]\nTheme=Dark\n");
        ini.close();
        const QString shot = folder.filePath(QStringLiteral("menu.png"));
        const Run demo =
            run(folder.filePath(QStringLiteral("tachoria")),
                {QStringLiteral("--demo"), QStringLiteral("--demo-screenshot"), shot}, m_profile.path());
        QCOMPARE(demo.exitCode, 0);
        QCOMPARE(
            demo.output.trimmed(),
            QStringLiteral("screenshot=%1 found=true tachograph=Тахограф ОРВИАН. Сер. №: 2505001800001234")
                .arg(shot));
        const QImage image(shot);
        QCOMPARE(image.size(), QSize(1280, 720));
        QCOMPARE(image.pixelColor(4, 4), QColor(QStringLiteral("#20252b")));
        // Its profile is the demonstration's own, beside the program.
        QVERIFY(QFile::exists(folder.filePath(QStringLiteral("DemoProfile/Tachoria/Data/DB/SettingsDB.db"))));
        const QString simulator = folder.filePath(QStringLiteral("tachoria-sim"));
        for (const QString& entry : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs))
            QVERIFY(QFile::symLinkTarget(QStringLiteral("/proc/%1/exe").arg(entry)) != simulator);
    }
};

QTEST_GUILESS_MAIN(TestApplicationStart)
#include "test_application_start.moc"
