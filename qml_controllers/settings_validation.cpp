#include "qml_controllers/settings_validation.h"

#include <QRegularExpression>

namespace tachoria::qml {

bool isValidRussianPhone(const QString& phone)
{
    if (phone.isEmpty() || phone.size() > 32)
        return false;
    if (!(phone.front().isDigit() || phone.front() == QLatin1Char('+')) || !phone.back().isDigit())
        return false;
    QString digits;
    bool insideBrackets = false;
    for (const QChar c : phone) {
        if (c >= QLatin1Char('0') && c <= QLatin1Char('9')) {
            digits.append(c);
        } else if (c == QLatin1Char('(')) {
            if (insideBrackets)
                return false;
            insideBrackets = true;
        } else if (c == QLatin1Char(')')) {
            if (!insideBrackets)
                return false;
            insideBrackets = false;
        } else if (!QStringLiteral("+ -.").contains(c)) {
            return false;
        }
    }
    if (insideBrackets)
        return false;
    const bool international = phone.front() == QLatin1Char('+');
    if (digits.size() == 10)
        return !international;
    if (digits.size() == 11)
        return digits.front() == QLatin1Char('7') || (!international && digits.front() == QLatin1Char('8'));
    return false;
}

QString validateShopData(const ShopData& data)
{
    const QString name = data.name.trimmed();
    const QString post = data.post.trimmed();
    const QString city = data.city.trimmed();
    const QString street = data.street.trimmed();
    const QString phone = data.phone.trimmed();
    const QString mark = data.mark.trimmed();

    const std::pair<const QString*, const char*> required[] = {
        {&name, "Наименование мастерской"},
        {&post, "Индекс"},
        {&city, "Город"},
        {&street, "Улица"},
        {&phone, "Телефон"},
        {&mark, "Допуск РФ №"},
    };
    for (const auto& [value, label] : required) {
        if (value->isEmpty())
            return QStringLiteral("Заполните обязательное поле «%1». Обязательны все данные мастерской.")
                .arg(QString::fromUtf8(label));
    }

    static const QRegularExpression nameExpression(
        QStringLiteral("^[A-Za-zА-Яа-яЁё .,'’\"«»()&№+/-]{1,100}$"));
    static const QRegularExpression letter(QStringLiteral("[A-Za-zА-Яа-яЁё]"));
    if (!nameExpression.match(name).hasMatch() || !letter.match(name).hasMatch())
        return QStringLiteral("Наименование мастерской: используйте буквы и допустимые знаки препинания, без "
                              "цифр; не более 100 символов.");

    static const QRegularExpression postExpression(QStringLiteral("^[0-9]{6}$"));
    if (!postExpression.match(post).hasMatch())
        return QStringLiteral("Индекс должен состоять ровно из 6 цифр.");

    static const QRegularExpression addressExpression(
        QStringLiteral("^[A-Za-zА-Яа-яЁё0-9 .,'’\"«»()&№+/-]{1,150}$"));
    if (city.size() > 100 || !addressExpression.match(city).hasMatch())
        return QStringLiteral("Город: используйте название буквами и допустимые знаки адреса; не более 100 "
                              "символов.");
    if (street.size() > 150 || !addressExpression.match(street).hasMatch())
        return QStringLiteral("Улица и номер дома: используйте буквы, цифры и знаки адреса; не более 150 "
                              "символов.");

    if (!isValidRussianPhone(phone))
        return QStringLiteral(
            "Российский телефон должен содержать 10 цифр без кода страны или 11 цифр с кодом "
            "7/8. Допустимы только +, пробелы, скобки, точка и дефис.");

    static const QRegularExpression markExpression(QStringLiteral("^[0-9]{1,5}$"));
    if (!markExpression.match(mark).hasMatch())
        return QStringLiteral("Номер допуска / клеймо должен состоять из 1–5 цифр.");
    return {};
}

} // namespace tachoria::qml
