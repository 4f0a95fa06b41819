#pragma once

#include <QPalette>
#include <QString>

namespace tachoria::ui {

// The look of the standard controls, light or dark, the same on every platform: the system palette is
// never inherited, so that Fusion's own controls (file dialogs, message boxes, menus) match the pages.
class ThemeManager
{
public:
    static void apply(const QString& theme);

    static bool isDark(const QString& theme);
    static QPalette palette(bool dark, const QPalette& base);

private:
    ThemeManager() = delete;
};

} // namespace tachoria::ui
