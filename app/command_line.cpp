#include "app/command_line.h"

#include <utility>

namespace tachoria::app {

CommandLine::CommandLine(int argc, char** argv)
{
    for (int i = 0; i < argc; ++i)
        m_arguments.append(QString::fromLocal8Bit(argv[i]));
}

CommandLine::CommandLine(QStringList arguments)
    : m_arguments(std::move(arguments))
{
}

bool CommandLine::has(const QString& name) const
{
    return m_arguments.contains(name);
}

bool CommandLine::hasValue(const QString& name) const
{
    const qsizetype index = m_arguments.indexOf(name);
    return index >= 0 && index + 1 < m_arguments.size();
}

QString CommandLine::value(const QString& name, const QString& fallback) const
{
    const qsizetype index = m_arguments.indexOf(name);
    if (index < 0 || index + 1 >= m_arguments.size())
        return fallback;
    return m_arguments.at(index + 1);
}

int CommandLine::number(const QString& name, int fallback) const
{
    if (!hasValue(name))
        return fallback;
    return value(name).toInt();
}

} // namespace tachoria::app
