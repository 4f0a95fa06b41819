#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantMap>

#include <optional>

namespace tachoria::calibration {

enum class ParameterAccess
{
    ReadOnly = 0,
    WriteOnly = 1,
    ReadWrite = 2,
};

// One data identifier of the tachograph's calibration with its value.
struct CalibrationParameter
{
    quint16 did = 0;
    QString name;
    ParameterAccess access = ParameterAccess::ReadOnly;
    bool available = false;
    bool dirty = false;
    QByteArray raw;
    QVariant value;
    int minuteCorrection = 0; // TimeDate only: local offset, -59..59
    int hourCorrection = 3;   // TimeDate only: local offset, -23..23
};

// What a calibration run needs to know besides the parameters.
struct CalibrationSettings
{
    QString port;
    int baud = 115200;
    QString ralonaPort;
    int ralonaBaud = 10400;
    bool useRalona = false;
    QString tachoriaName;
    QString tachoriaAddress;
    int tachoriaCodeFbu = 0;
    quint32 tachoriaCardExpiryDate = 0;
    QString masterCardNumber;
    QString skziNumber;
};

// The catalogue of the 39 parameters and every conversion of their values: bytes of a read to a
// typed value, value to the form's text, the master's text back to a value with its check, value to
// the bytes of a write, and value to the columns of the calibration journal.
class CalibrationParameterCodec
{
public:
    static QList<CalibrationParameter> descriptors();
    static bool decode(CalibrationParameter& parameter, const QByteArray& bytes, QString* error = nullptr);
    // An empty result means failure.
    static QByteArray encode(const CalibrationParameter& parameter, QString* error = nullptr);
    static QString displayValue(const CalibrationParameter& parameter);
    static bool setDisplayValue(CalibrationParameter& parameter, const QString& text,
                                QString* error = nullptr);
    static bool validate(const CalibrationParameter& parameter, QString* error = nullptr);
    static bool validateDisplayValue(const CalibrationParameter& parameter, const QString& text,
                                     QString* error = nullptr);
    static QVariantMap databaseFields(const CalibrationParameter& parameter);

    // The rule for all decimal input: blanks out, comma or point as the decimal mark.
    static std::optional<double> parseDecimal(const QString& text);
    // The registration nations of the tachograph's table, three characters each.
    static const QStringList& countryCodes();

private:
    CalibrationParameterCodec() = delete;
};

} // namespace tachoria::calibration
