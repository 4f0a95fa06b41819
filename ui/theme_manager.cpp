#include "ui/theme_manager.h"

#include <QApplication>
#include <QQuickStyle>
#include <QStyle>
#include <QStyleFactory>

namespace tachoria::ui {

namespace {

struct RoleColours
{
    QPalette::ColorRole role;
    const char* dark;
    const char* light;
};

constexpr RoleColours kRoles[] = {
    {QPalette::Window, "#20252b", "#f3f3f3"},
    {QPalette::WindowText, "#f1f3f5", "#202020"},
    {QPalette::Base, "#252b32", "#ffffff"},
    {QPalette::AlternateBase, "#333b45", "#f7f7f7"},
    {QPalette::Text, "#f1f3f5", "#202020"},
    {QPalette::Button, "#353d48", "#e6e6e6"},
    {QPalette::ButtonText, "#f1f3f5", "#202020"},
    {QPalette::Mid, "#58636f", "#b5b5b5"},
    {QPalette::Dark, "#20252b", "#777777"},
    {QPalette::Light, "#74808d", "#ffffff"},
    {QPalette::Highlight, "#66b3ff", "#2d7fd3"},
    {QPalette::HighlightedText, "#ffffff", "#ffffff"},
    {QPalette::PlaceholderText, "#929ca8", "#777777"},
};

const QString kStyle = QStringLiteral("Fusion");

} // namespace

bool ThemeManager::isDark(const QString& theme)
{
    return theme.trimmed().compare(QLatin1String("Dark"), Qt::CaseInsensitive) == 0;
}

QPalette ThemeManager::palette(bool dark, const QPalette& base)
{
    QPalette palette = base;
    for (const RoleColours& colours : kRoles)
        palette.setColor(colours.role, QColor(QLatin1String(dark ? colours.dark : colours.light)));
    return palette;
}

void ThemeManager::apply(const QString& theme)
{
    const bool dark = isDark(theme);
    // Qt Quick takes its style once, before the first control is made; later calls change nothing there.
    if (QQuickStyle::name() != kStyle)
        QQuickStyle::setStyle(kStyle);
    auto* application = qobject_cast<QApplication*>(QCoreApplication::instance());
    if (!application)
        return;
    if (QApplication::style()->name().compare(kStyle, Qt::CaseInsensitive) != 0) {
        if (QStyle* style = QStyleFactory::create(kStyle))
            QApplication::setStyle(style);
    }
    QApplication::setPalette(palette(dark, QApplication::style()->standardPalette()));
}

} // namespace tachoria::ui
