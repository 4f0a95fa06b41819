#pragma once

#include <QObject>
#include <QString>

#include <memory>

class QQmlApplicationEngine;
class QQuickWindow;

namespace tachoria::qml {
class QmlAppController;
}

namespace tachoria::app {

// The window and what stands behind it: the application controller, the QML engine with the program's
// import paths and `app` in its context, and the record of any QML warning. The program's start and
// the window tests both build it this way.
class ApplicationShell : public QObject
{
    Q_OBJECT

public:
    ApplicationShell();
    ~ApplicationShell() override;

    qml::QmlAppController& controller() { return *m_controller; }
    QQmlApplicationEngine& engine() { return *m_engine; }

    // Loads "qrc:/qml/Main.qml"; false when it has no root object.
    bool loadMainWindow();
    QQuickWindow* window() const;
    bool sawQmlWarnings() const { return m_sawQmlWarnings; }

    // Import paths in the program's order: its own folder first, then the resources.
    static void setImportPaths(QQmlApplicationEngine& engine);

private:
    // Declared first, destroyed last: the engine and its items go before the controller they bind to.
    std::unique_ptr<qml::QmlAppController> m_controller;
    std::unique_ptr<QQmlApplicationEngine> m_engine;
    bool m_sawQmlWarnings = false;
};

} // namespace tachoria::app
