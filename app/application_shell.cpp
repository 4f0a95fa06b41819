#include "app/application_shell.h"

#include "qml_controllers/qml_app_controller.h"

#include <QCoreApplication>
#include <QQmlApplicationEngine>
#include <QQmlContext>
#include <QQuickWindow>

namespace tachoria::app {

ApplicationShell::ApplicationShell()
    : m_controller(std::make_unique<qml::QmlAppController>())
    , m_engine(std::make_unique<QQmlApplicationEngine>())
{
    setImportPaths(*m_engine);
    m_engine->rootContext()->setContextProperty(QStringLiteral("app"), m_controller.get());
    connect(m_engine.get(), &QQmlEngine::warnings, this, [this](const QList<QQmlError>& warnings) {
        if (!warnings.isEmpty())
            m_sawQmlWarnings = true;
        for (const QQmlError& warning : warnings)
            qWarning().noquote() << warning.toString();
    });
}

ApplicationShell::~ApplicationShell()
{
    // The window goes first, so that no binding reads the controller while it shuts its workers down.
    m_engine.reset();
    m_controller.reset();
}

void ApplicationShell::setImportPaths(QQmlApplicationEngine& engine)
{
    QStringList paths = {QCoreApplication::applicationDirPath() + QStringLiteral("/qml"),
                         QStringLiteral("qrc:/qml")};
    paths.append(engine.importPathList());
    engine.setImportPathList(paths);
}

bool ApplicationShell::loadMainWindow()
{
    m_engine->load(QUrl(QStringLiteral("qrc:/qml/Main.qml")));
    return !m_engine->rootObjects().isEmpty();
}

QQuickWindow* ApplicationShell::window() const
{
    const auto roots = m_engine->rootObjects();
    return roots.isEmpty() ? nullptr : qobject_cast<QQuickWindow*>(roots.first());
}

} // namespace tachoria::app
