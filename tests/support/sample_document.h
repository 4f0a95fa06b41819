#pragma once

#include <QString>
#include <QVariantMap>

namespace tachoria::test {

// The document data of one calibration, as the documents page hands it to the renderer.
inline QVariantMap sampleDocument()
{
    return {
        {QStringLiteral("OrderNumber"), QStringLiteral("1542")},
        {QStringLiteral("OrderDate"), QStringLiteral("12.03.2026 09:15")},
        {QStringLiteral("OrderResponsible"), QStringLiteral("Петрова А. С.")},
        {QStringLiteral("OrderMaster"), QStringLiteral("Иванов И. И.")},
        {QStringLiteral("CustomerName"), QStringLiteral("ООО «ДЕМО-ТРАНС»")},
        {QStringLiteral("CustomerAddress"), QStringLiteral("Самара, ул. Примерная, 1")},
        {QStringLiteral("CustomerPhone"), QStringLiteral("+7 (846) 000-00-01")},
        {QStringLiteral("TachoriaName"), QStringLiteral("ООО «Тахосервис-Поволжье»")},
        {QStringLiteral("TachoriaAddress"), QStringLiteral("Московское шоссе, 17, Самара, 443080")},
        {QStringLiteral("TachoriaPhone"), QStringLiteral("+7 (846) 200-00-00")},
        {QStringLiteral("TachoriaStigma"), QStringLiteral("12345")},
        {QStringLiteral("TachographManufacture"), QStringLiteral("ОРВИАН")},
        {QStringLiteral("TachographModel"), QStringLiteral("Орвиан исп. 02")},
        {QStringLiteral("TachographSerialNumber"), QStringLiteral("2505001800001234")},
        {QStringLiteral("TachographDateOfManufacture"), QStringLiteral("05.2025")},
        {QStringLiteral("TachographSkzi"), QStringLiteral("7800000000000417")},
        {QStringLiteral("VehicleRegNumber"), QStringLiteral("А123ВС163")},
        {QStringLiteral("VehicleMark"), QStringLiteral("КАМАЗ")},
        {QStringLiteral("VehicleModel"), QStringLiteral("54901")},
        {QStringLiteral("VehicleVin"), QStringLiteral("XTC549015N2570001")},
        {QStringLiteral("VehicleOdometr"), QStringLiteral("152340")},
        {QStringLiteral("TachographSettingsW"), QStringLiteral("8000")},
        {QStringLiteral("TachographSettingsK"), QStringLiteral("8021")},
        {QStringLiteral("TachographSettingsL"), QStringLiteral("3150")},
        {QStringLiteral("TachographSettingsNextCalibr"), QStringLiteral("12.03.2029")},
        {QStringLiteral("VehicleTyreMarking"), QStringLiteral("315/80R22.5")},
        {QStringLiteral("SetupTable"), QStringLiteral("Стойка двери водителя")},
        {QStringLiteral("Inspection"), QStringLiteral("Нет")},
        {QStringLiteral("Manipulation"), QStringLiteral("Нет")},
        {QStringLiteral("Note"), QStringLiteral("Эксплуатация только на территории РФ.")},
    };
}

} // namespace tachoria::test
