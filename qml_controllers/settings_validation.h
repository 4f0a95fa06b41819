#pragma once

#include <QString>

namespace tachoria::qml {

// The service shop's particulars as the settings form holds them; they go onto every certificate.
struct ShopData
{
    QString name;
    QString post;
    QString city;
    QString street;
    QString phone;
    QString mark;
};

// The first fault of the form in the order the master reads it, as the text to show; empty when the
// data can be stored. Values are checked trimmed.
QString validateShopData(const ShopData& data);
// A Russian phone number as a certificate prints it: 10 digits, or 11 beginning with 7 (8 without "+").
bool isValidRussianPhone(const QString& phone);

} // namespace tachoria::qml
