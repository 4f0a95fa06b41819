#pragma once

#include <QString>
#include <QStringList>

namespace tachoria::app {

// The program's arguments as the entry reads them: the whole list, program name included, is searched;
// names compare exactly; only the first occurrence counts; a switch that takes a value counts only
// when a further argument follows it.
class CommandLine
{
public:
    CommandLine(int argc, char** argv);
    explicit CommandLine(QStringList arguments);

    bool has(const QString& name) const;
    bool hasValue(const QString& name) const;
    QString value(const QString& name, const QString& fallback = QString()) const;
    // QString::toInt semantics: a bad number reads as 0.
    int number(const QString& name, int fallback) const;

    const QStringList& arguments() const { return m_arguments; }

private:
    QStringList m_arguments;
};

} // namespace tachoria::app
