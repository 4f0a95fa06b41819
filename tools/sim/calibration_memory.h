#pragma once

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>

namespace tachoria::sim {

// The tachograph's calibration data: the raw bytes behind each data identifier, as it keeps them.
// It can live in a JSON file, so that what one session wrote the next one reads back.
class CalibrationMemory
{
public:
    static CalibrationMemory factoryDefaults();

    bool contains(quint16 did) const { return m_values.contains(did); }
    QByteArray value(quint16 did) const { return m_values.value(did); }
    void setValue(quint16 did, const QByteArray& bytes) { m_values.insert(did, bytes); }
    QList<quint16> identifiers() const { return m_values.keys(); }

    // Identifiers in the order the client wrote them, across sessions.
    const QList<quint16>& writeLog() const { return m_writeLog; }
    void recordWrite(quint16 did) { m_writeLog.append(did); }

    bool load(const QString& path, QString* error);
    bool save(const QString& path, QString* error) const;

private:
    QMap<quint16, QByteArray> m_values;
    QList<quint16> m_writeLog;
};

} // namespace tachoria::sim
