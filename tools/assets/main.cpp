// Draws the program's icons and renders its user manual at build time, so that the repository keeps
// sources rather than pictures and a PDF.
//   tachoria-assets icons <folder>
//   tachoria-assets manual <manual.html> <out.pdf>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QImageWriter>
#include <QPageSize>
#include <QPainter>
#include <QPainterPath>
#include <QPdfWriter>
#include <QTextDocument>
#include <QTextStream>
#include <QtMath>

#include <functional>

namespace {

constexpr int kSize = 128;

void drawCalibration(QPainter& p)
{
    // A speed gauge with its needle: the tachograph's own dial.
    p.setPen(QPen(QColor(0x2d, 0x7f, 0xd3), 12, Qt::SolidLine, Qt::RoundCap));
    p.drawArc(QRectF(14, 22, 100, 100), 200 * 16, -220 * 16);
    p.setPen(QPen(QColor(0x24, 0x5c, 0x9c), 4, Qt::SolidLine, Qt::RoundCap));
    for (int i = 0; i <= 8; ++i) {
        const double angle = qDegreesToRadians(200.0 - i * 27.5);
        const QPointF centre(64, 72);
        p.drawLine(centre + QPointF(34 * qCos(angle), -34 * qSin(angle)),
                   centre + QPointF(42 * qCos(angle), -42 * qSin(angle)));
    }
    p.setPen(QPen(QColor(0xd3, 0x3c, 0x2d), 7, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(QPointF(64, 72), QPointF(92, 44));
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0x6b, 0x77, 0x85));
    p.drawEllipse(QPointF(64, 72), 9, 9);
    p.setBrush(QColor(0x2d, 0x7f, 0xd3));
    p.drawRoundedRect(QRectF(40, 100, 48, 12), 4, 4);
}

void drawUnload(QPainter& p)
{
    // Data going down into a tray.
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0x43, 0xa0, 0x47));
    QPainterPath arrow;
    arrow.moveTo(52, 10);
    arrow.lineTo(76, 10);
    arrow.lineTo(76, 52);
    arrow.lineTo(98, 52);
    arrow.lineTo(64, 88);
    arrow.lineTo(30, 52);
    arrow.lineTo(52, 52);
    arrow.closeSubpath();
    p.drawPath(arrow);
    p.setPen(QPen(QColor(0x6b, 0x77, 0x85), 10, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(Qt::NoBrush);
    QPainterPath tray;
    tray.moveTo(14, 84);
    tray.lineTo(14, 114);
    tray.lineTo(114, 114);
    tray.lineTo(114, 84);
    p.drawPath(tray);
}

void drawAnalytics(QPainter& p)
{
    // Bars of a day's activities with the line of their trend.
    p.setPen(Qt::NoPen);
    const QColor colours[] = {QColor(0x8e, 0x44, 0xad), QColor(0x2d, 0x7f, 0xd3), QColor(0xe6, 0x7e, 0x22),
                              QColor(0x43, 0xa0, 0x47)};
    const int heights[] = {46, 76, 36, 96};
    for (int i = 0; i < 4; ++i) {
        p.setBrush(colours[i]);
        p.drawRoundedRect(QRectF(16 + i * 26, 114 - heights[i], 20, heights[i]), 3, 3);
    }
    p.setPen(QPen(QColor(0x6b, 0x77, 0x85), 5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.drawPolyline(QPolygonF({QPointF(14, 58), QPointF(44, 34), QPointF(72, 62), QPointF(112, 14)}));
}

void drawDocs(QPainter& p)
{
    // A certificate with its folded corner and a seal.
    QPainterPath sheet;
    sheet.moveTo(24, 8);
    sheet.lineTo(84, 8);
    sheet.lineTo(106, 30);
    sheet.lineTo(106, 120);
    sheet.lineTo(24, 120);
    sheet.closeSubpath();
    p.setPen(QPen(QColor(0x6b, 0x77, 0x85), 5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(QColor(0xff, 0xff, 0xff));
    p.drawPath(sheet);
    p.setBrush(QColor(0xdc, 0xdc, 0xdc));
    p.drawPolygon(QPolygonF({QPointF(84, 8), QPointF(84, 30), QPointF(106, 30)}));
    p.setPen(QPen(QColor(0x24, 0x5c, 0x9c), 5, Qt::SolidLine, Qt::RoundCap));
    for (int y : {44, 60, 76})
        p.drawLine(38, y, 92, y);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0xd3, 0x3c, 0x2d));
    p.drawEllipse(QPointF(80, 100), 12, 12);
}

void drawSettings(QPainter& p)
{
    // A gear.
    const QPointF centre(64, 64);
    QPainterPath gear;
    const int teeth = 8;
    for (int i = 0; i < teeth * 2; ++i) {
        const double radius = (i % 2 == 0) ? 56 : 44;
        for (int step = 0; step < 2; ++step) {
            const double angle = 2 * M_PI * (i + step * 0.999) / (teeth * 2) - M_PI / (teeth * 2);
            const QPointF point = centre + QPointF(radius * qCos(angle), radius * qSin(angle));
            if (i == 0 && step == 0)
                gear.moveTo(point);
            else
                gear.lineTo(point);
        }
    }
    gear.closeSubpath();
    gear.addEllipse(centre, 18, 18);
    gear.setFillRule(Qt::OddEvenFill);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0x60, 0x6b, 0x78));
    p.drawPath(gear);
}

void drawExit(QPainter& p)
{
    // A door left open and the way out.
    p.setPen(QPen(QColor(0x6b, 0x77, 0x85), 8, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(Qt::NoBrush);
    QPainterPath frame;
    frame.moveTo(64, 14);
    frame.lineTo(20, 14);
    frame.lineTo(20, 114);
    frame.lineTo(64, 114);
    p.drawPath(frame);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0xc6, 0x28, 0x28));
    QPainterPath arrow;
    arrow.moveTo(44, 54);
    arrow.lineTo(84, 54);
    arrow.lineTo(84, 34);
    arrow.lineTo(116, 64);
    arrow.lineTo(84, 94);
    arrow.lineTo(84, 74);
    arrow.lineTo(44, 74);
    arrow.closeSubpath();
    p.drawPath(arrow);
}

void drawLogo(QPainter& p)
{
    // The publisher's two letters in a ring.
    p.setPen(Qt::NoPen);
    QLinearGradient fill(0, 0, kSize, kSize);
    fill.setColorAt(0, QColor(0x2d, 0x7f, 0xd3));
    fill.setColorAt(1, QColor(0x1b, 0x4f, 0x8a));
    p.setBrush(fill);
    p.drawEllipse(QRectF(4, 4, 120, 120));
    p.setPen(QPen(QColor(0xff, 0xff, 0xff), 4));
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(QRectF(14, 14, 100, 100));
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setBold(true);
    font.setPixelSize(50);
    p.setFont(font);
    p.drawText(QRectF(0, 0, kSize, kSize), Qt::AlignCenter, QStringLiteral("NV"));
}

QImage renderLarge(const std::function<void(QPainter&)>& draw, int size)
{
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(double(size) / kSize, double(size) / kSize);
    draw(painter);
    return image;
}

int writeIcons(const QString& folder)
{
    const std::pair<const char*, std::function<void(QPainter&)>> icons[] = {
        {"Calibration", drawCalibration},
        {"Unload", drawUnload},
        {"Analytics", drawAnalytics},
        {"Docs", drawDocs},
        {"Settings", drawSettings},
        {"Exit", drawExit},
        {"NV", drawLogo},
    };
    for (const auto& [name, draw] : icons) {
        if (!renderLarge(draw, kSize)
                 .save(folder + QLatin1Char('/') + QLatin1String(name) + QStringLiteral(".png")))
            return 1;
    }
    // The window icon and the desktop's application icon.
    QImageWriter ico(folder + QStringLiteral("/NV.ico"), "ico");
    if (!ico.write(renderLarge(drawLogo, 64)))
        return 1;
    return renderLarge(drawLogo, 256).save(folder + QStringLiteral("/tachoria.png")) ? 0 : 1;
}

int writeManual(const QString& htmlPath, const QString& pdfPath)
{
    QFile html(htmlPath);
    if (!html.open(QIODevice::ReadOnly | QIODevice::Text))
        return 1;
    QTextDocument document;
    document.setDefaultFont(QFont(QStringLiteral("DejaVu Sans"), 10));
    document.setHtml(QString::fromUtf8(html.readAll()));
    QPdfWriter writer(pdfPath);
    writer.setPageSize(QPageSize(QPageSize::A4));
    writer.setPageMargins(QMarginsF(18, 16, 18, 16), QPageLayout::Millimeter);
    writer.setTitle(QStringLiteral("Tachoria — руководство пользователя"));
    writer.setCreator(QStringLiteral("Tachoria"));
    document.print(&writer);
    return QFile(pdfPath).size() > 0 ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    // A build step has no display; the offscreen platform gives fonts and painting all the same.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() == 3 && arguments.at(1) == QLatin1String("icons"))
        return writeIcons(arguments.at(2));
    if (arguments.size() == 4 && arguments.at(1) == QLatin1String("manual"))
        return writeManual(arguments.at(2), arguments.at(3));
    QTextStream(stderr) << "usage: tachoria-assets icons <folder> | manual <manual.html> <out.pdf>\n";
    return 2;
}
