#include "app/application.h"

#include "app/application_shell.h"
#include "app/demo_simulator.h"
#include "logging/application_logger.h"
#include "platform/process_takeover.h"
#include "platform/program_folder.h"
#include "platform/termination_signal.h"
#include "qml_controllers/qml_app_controller.h"
#include "qml_controllers/qml_settings_controller.h"
#include "storage/app_paths.h"
#include "storage/customer_master_repositories.h"
#include "storage/settings_repository.h"
#include "ui/theme_manager.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QIcon>
#include <QMessageBox>
#include <QQmlApplicationEngine>
#include <QQmlComponent>
#include <QQuickWindow>
#include <QStandardPaths>
#include <QTextStream>
#include <QTimer>

#include <memory>

namespace tachoria::app {

namespace {

const QString kVersion = QStringLiteral("2.5.0.189");
constexpr int kTestQuitMs = 300;
constexpr int kAfterUiMs = 100;
constexpr int kNavigationTimeoutMs = 30000;
constexpr int kTakeoverFailed = 6;
constexpr int kNavigationFailed = 1;
constexpr int kNavigationTimedOut = 2;
constexpr int kDemoScreenshotTimeoutMs = 30000;
constexpr int kDemoNotFound = 3;

bool isDemo(const CommandLine& commandLine)
{
    return commandLine.has(QStringLiteral("--demo"));
}

// The preview's profile; the demonstration keeps one of its own, since it stores its simulator's port.
void usePreviewProfile(bool demo)
{
    // Beside the program when its folder is writable (a build tree), else in the user's own folder.
    const QString base = platform::writableProgramFolder(
        QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation));
    const QString profile =
        base + (demo ? QStringLiteral("/DemoProfile") : QStringLiteral("/PreviewProfile"));
    QDir().mkpath(profile);
    qputenv("LOCALAPPDATA", QDir::toNativeSeparators(profile).toLocal8Bit());
}

// A demonstration shop, so that every page has what it needs without a master's own data.
void fillDemonstrationShop(qml::QmlSettingsController& settings)
{
    settings.setScanPorts(false);
    settings.setTachoriaName(QStringLiteral("ООО «ДЕМО-МАСТЕРСКАЯ»"));
    settings.setTachoriaPost(QStringLiteral("443080"));
    settings.setTachoriaCity(QStringLiteral("Самара"));
    settings.setTachoriaStreet(QStringLiteral("ул. Демонстрационная, 1"));
    settings.setTachoriaPhone(QStringLiteral("+7 (846) 000-00-00"));
    settings.setTachoriaMark(QStringLiteral("1234"));
    settings.setTachoriaNumber(QStringLiteral("0001"));
    if (settings.masters().isEmpty())
        settings.addMaster(QStringLiteral("Иванов Иван Иванович"));
    if (settings.customers().isEmpty())
        settings.addCustomer(QStringLiteral("ООО «ДЕМО-ТРАНС»"), QStringLiteral("Самара, ул. Примерная, 1"),
                             QStringLiteral("+7 (846) 000-00-01"));
    settings.save();
}

int runParseTest()
{
    QQmlApplicationEngine engine;
    // The program's folder first, as always; the module itself lives in the resources.
    ApplicationShell::setImportPaths(engine);
    engine.load(QUrl(QStringLiteral("qrc:/qml/Smoke.qml")));
    if (engine.rootObjects().isEmpty())
        return -1;
    QTimer::singleShot(kTestQuitMs, &QCoreApplication::quit);
    return QCoreApplication::exec();
}

int runPagesTest(ApplicationShell& shell)
{
    QQmlComponent component(&shell.engine(), QUrl(QStringLiteral("qrc:/qml/SmokePages.qml")));
    if (component.isError()) {
        for (const QQmlError& error : component.errors())
            qWarning().noquote() << error.toString();
        return -1;
    }
    std::unique_ptr<QObject> pages(component.createWithInitialProperties(
        {{QStringLiteral("app"), QVariant::fromValue(&shell.controller())}}));
    if (!pages) {
        qWarning() << "QML pages component status:" << component.status();
        for (const QQmlError& error : component.errors())
            qWarning().noquote() << error.toString();
        return -1;
    }
    QTimer::singleShot(kTestQuitMs, &QCoreApplication::quit);
    const int code = QCoreApplication::exec();
    return code == 0 && shell.sawQmlWarnings() ? 1 : code;
}

int runNavigationTest(ApplicationShell& shell, const CommandLine& commandLine)
{
    QObject* root = shell.engine().rootObjects().first();
    root->setProperty("visible", false);
    logging::ApplicationLogger::setEnabled(true);
    QObject::connect(&shell.engine(), &QQmlEngine::exit, QCoreApplication::instance(),
                     &QCoreApplication::exit, Qt::QueuedConnection);
    QQmlComponent component(&shell.engine(), QUrl(QStringLiteral("qrc:/qml/SmokeNavigation.qml")));
    std::unique_ptr<QObject> test(component.createWithInitialProperties(
        {{QStringLiteral("window"), QVariant::fromValue(root)},
         {QStringLiteral("testFilePath"), commandLine.value(QStringLiteral("--ddd-test-file"))}}));
    if (!test) {
        for (const QQmlError& error : component.errors())
            qWarning().noquote() << error.toString();
        return kNavigationFailed;
    }
    QTimer::singleShot(kNavigationTimeoutMs, [] { QCoreApplication::exit(kNavigationTimedOut); });
    const int code = QCoreApplication::exec();
    return code == 0 && shell.sawQmlWarnings() ? kNavigationFailed : code;
}

// Writes the main menu to a picture once a tachograph shows in it (or the time is up), then quits.
void scheduleDemoScreenshot(ApplicationShell& shell, const QString& path)
{
    auto* deadline = new QTimer(&shell);
    deadline->setSingleShot(true);
    auto taken = std::make_shared<bool>(false);
    auto shoot = [&shell, path, deadline, taken](bool found) {
        if (*taken)
            return;
        *taken = true;
        deadline->stop();
        QQuickWindow* window = shell.window();
        const bool saved = window && window->grabWindow().save(path);
        QTextStream(stdout) << "screenshot=" << (saved ? path : QString())
                            << " found=" << (found ? "true" : "false")
                            << " tachograph=" << shell.controller().connectedTacho() << '\n';
        QCoreApplication::exit(found && saved ? 0 : kDemoNotFound);
    };
    QObject::connect(deadline, &QTimer::timeout, &shell, [shoot] { shoot(false); });
    QObject::connect(&shell.controller(), &qml::QmlAppController::deviceChanged, &shell,
                     [&shell, shoot, taken] {
                         if (!shell.controller().deviceFound() || *taken)
                             return;
                         // The frame that shows the device must be on screen before it is grabbed.
                         QTimer::singleShot(500, &shell, [shoot] { shoot(true); });
                     });
    deadline->start(kDemoScreenshotTimeoutMs);
}

void journalFirstFrame(QQuickWindow* window, const QElapsedTimer& sinceStart)
{
    auto connection = std::make_shared<QMetaObject::Connection>();
    *connection = QObject::connect(window, &QQuickWindow::frameSwapped, window, [connection, sinceStart] {
        QObject::disconnect(*connection);
        logging::ApplicationLogger::write(
            logging::Level::Info, QStringLiteral("application"),
            QStringLiteral("Первый кадр окна через %1 мс").arg(sinceStart.elapsed()),
            QStringLiteral("first-frame"));
    });
}

} // namespace

void identifyApplication()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Norvelika"));
    QCoreApplication::setApplicationName(QStringLiteral("Tachoria"));
    QCoreApplication::setApplicationVersion(kVersion);
}

bool isPreviewMode(const CommandLine& commandLine)
{
    if (commandLine.has(QStringLiteral("--qml-navigation-test")) ||
        commandLine.has(QStringLiteral("--ui-preview")) || isDemo(commandLine))
        return true;
    const QString program = QFileInfo(commandLine.arguments().value(0)).fileName();
    return program.compare(QLatin1String("TachoriaUiPreview"), Qt::CaseInsensitive) == 0 ||
           program.compare(QLatin1String("TachoriaUiPreview.exe"), Qt::CaseInsensitive) == 0;
}

int runApplication(int& argc, char** argv, const CommandLine& commandLine)
{
    QElapsedTimer sinceStart;
    sinceStart.start();
    QApplication application(argc, argv);
    identifyApplication();
    platform::quitEventLoopOnTermination(&application);

    const bool preview = isPreviewMode(commandLine);
    if (preview)
        usePreviewProfile(isDemo(commandLine));
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/NV.ico")));
    ui::ThemeManager::apply(storage::SettingsRepository::theme());
    storage::AppPaths::ensureDirectories();
    logging::ApplicationLogger::initialize(storage::AppPaths::logDirectory(), true);

    int code = 0;
    [&] {
        if (!preview) {
            QString error;
            if (!platform::takeOverTachoriaProcesses(&error)) {
                const QString text =
                    QStringLiteral("Не удалось освободить предыдущий экземпляр программы.\n\n%1").arg(error);
                logging::ApplicationLogger::write(logging::Level::Error, QStringLiteral("application"), text,
                                                  QStringLiteral("takeover"));
                QTextStream(stderr) << text << '\n';
                QMessageBox::critical(nullptr, QStringLiteral("Tachoria"), text);
                code = kTakeoverFailed;
                return;
            }
        }
        if (commandLine.has(QStringLiteral("--qml-parse-test"))) {
            code = runParseTest();
            return;
        }

        DemoSimulator simulator;
        ApplicationShell shell;
        qml::QmlSettingsController& settings = *shell.controller().settings();
        if (preview)
            fillDemonstrationShop(settings);
        if (isDemo(commandLine)) {
            QString error;
            if (!simulator.start(&error)) {
                QTextStream(stderr) << error << '\n';
                code = 1;
                return;
            }
            // The demonstration finds its tachograph as a shop's machine would: by scanning.
            settings.setCalibrationPort(simulator.port());
            settings.setDownloadPort(simulator.port());
            settings.setScanPorts(true);
            settings.save();
        }

        if (commandLine.has(QStringLiteral("--qml-pages-test"))) {
            code = runPagesTest(shell);
            return;
        }
        if (!shell.loadMainWindow()) {
            code = -1;
            return;
        }
        if (commandLine.has(QStringLiteral("--qml-navigation-test"))) {
            code = runNavigationTest(shell, commandLine);
            return;
        }
        if (QQuickWindow* window = shell.window())
            journalFirstFrame(window, sinceStart);
        // The window is on screen before any database or port work starts from the event loop.
        QTimer::singleShot(kAfterUiMs, &shell.controller(),
                           [&shell] { shell.controller().initializeAfterUi(); });
        if (commandLine.has(QStringLiteral("--qml-smoke-test")))
            QTimer::singleShot(kTestQuitMs, &QCoreApplication::quit);
        if (isDemo(commandLine) && commandLine.hasValue(QStringLiteral("--demo-screenshot")))
            scheduleDemoScreenshot(shell, commandLine.value(QStringLiteral("--demo-screenshot")));
        code = QCoreApplication::exec();
    }();
    logging::ApplicationLogger::shutdown();
    return code;
}

} // namespace tachoria::app
