#pragma once

#include <QPoint>
#include <QString>
#include <QTemporaryDir>

#include <memory>

class QQuickItem;
class QQuickWindow;

namespace tachoria::app {
class ApplicationShell;
}
namespace tachoria::qml {
class QmlAppController;
}

namespace tachoria::test {

// The program's window in this process, as its start builds it, on a profile of its own (a private
// LOCALAPPDATA), driven like a master drives it: items found by objectName, clicks and keys sent to
// the window. Destroying the driver and making a new one over the same profile is a restart.
class WindowDriver
{
public:
    explicit WindowDriver(const QString& profile = QString());
    ~WindowDriver();
    WindowDriver(const WindowDriver&) = delete;
    WindowDriver& operator=(const WindowDriver&) = delete;

    // Loads the window and waits until it is exposed; with startWork the watch over the port and the
    // start-up catalogues begin as they do 100 ms after the first frame.
    bool start(bool startWork = true);
    // Ends the window as the program ends, keeping the profile for a restart.
    void stop();

    QString profile() const { return m_profile; }
    qml::QmlAppController& app();
    QQuickWindow* window() const;

    // The first item with this objectName, on the pages or in an open dialog; null if none.
    QQuickItem* find(const QString& objectName) const;
    QQuickItem* findVisible(const QString& objectName) const;
    // Waits until the page stack has finished moving, so that clicks land where the items rest.
    bool settle() const;
    // Whether the dialog (a popup, not an item) with this objectName is open.
    bool dialogOpen(const QString& objectName) const;
    bool click(const QString& objectName);
    bool click(QQuickItem* item);
    bool doubleClick(const QString& objectName);
    // Clicks into a field, selects what is there and types the text as keys.
    bool type(const QString& objectName, const QString& text);
    QString text(const QString& objectName) const;
    bool grab(const QString& path) const;
    // Whether the QML engine has warned since the start: a binding that failed somewhere on the way.
    bool sawQmlWarnings() const;

private:
    std::unique_ptr<QTemporaryDir> m_ownProfile;
    QString m_profile;
    QByteArray m_previousProfile;
    std::unique_ptr<app::ApplicationShell> m_shell;
};

// The QML text of an item: its `text` property.
QString itemText(QQuickItem* item);

} // namespace tachoria::test
