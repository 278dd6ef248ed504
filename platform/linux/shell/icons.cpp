#include "platform/linux/shell/icons.hpp"

#include <QFile>
#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>
#include <array>

namespace quillon {

namespace {

/// The sizes that trays ask for, at once and at twice the density.
constexpr std::array kTraySizes{16, 22, 24, 32, 44, 48, 64};
constexpr std::array kApplicationSizes{16, 32, 48, 64, 128};

/// The one colour of the drawings, which stands for the panel's.
constexpr const char* kTemplateColor = "#2e3436";
const QColor kLight(0xf4, 0xf4, 0xf6);
const QColor kEdge(0, 0, 0, 150);

QString nameOf(StatusItemLook::Icon icon) {
    return icon == StatusItemLook::Icon::error ? QStringLiteral("quillon-error-symbolic")
                                               : QStringLiteral("quillon-symbolic");
}

QByteArray drawing(const QString& name) {
    QFile file(QStringLiteral(":/quillon/") + name + QStringLiteral(".svg"));
    file.open(QIODevice::ReadOnly);
    return file.readAll();
}

QPixmap clearPixmap(int side) {
    QPixmap pixmap(side, side);
    pixmap.fill(Qt::transparent);
    return pixmap;
}

/// The template in a colour. `margin` is free around it.
QPixmap tinted(const QByteArray& picture, int side, double margin, QColor color) {
    QByteArray painted = picture;
    QSvgRenderer renderer(painted.replace(kTemplateColor, color.name(QColor::HexRgb).toLatin1()));
    QPixmap pixmap = clearPixmap(side);
    QPainter painter(&pixmap);
    painter.setOpacity(color.alphaF());
    renderer.render(&painter, QRectF(margin, margin, side - 2 * margin, side - 2 * margin));
    return pixmap;
}

/// Light, on a dark copy of itself that is a little larger on all sides.
QPixmap edged(const QByteArray& picture, int side) {
    const double edge = side / 18.0;
    const QPixmap dark = tinted(picture, side, edge, kEdge);
    QPixmap pixmap = clearPixmap(side);
    QPainter painter(&pixmap);
    for (const auto& [dx, dy] : {QPointF(-edge, 0), QPointF(edge, 0), QPointF(0, -edge), QPointF(0, edge)}) {
        painter.drawPixmap(QPointF(dx, dy), dark);
    }
    painter.drawPixmap(0, 0, tinted(picture, side, edge, kLight));
    return pixmap;
}

}  // namespace

QIcon applicationIcon() {
    QSvgRenderer renderer(drawing(QStringLiteral("quillon")));
    QIcon icon;
    for (const int side : kApplicationSizes) {
        QPixmap pixmap = clearPixmap(side);
        QPainter painter(&pixmap);
        renderer.render(&painter);
        painter.end();
        icon.addPixmap(pixmap);
    }
    return icon;
}

QIcon statusIcon(StatusItemLook::Icon icon, std::optional<QColor> color) {
    const QByteArray picture = drawing(nameOf(icon));
    QIcon result;
    for (const int side : kTraySizes) {
        result.addPixmap(color ? tinted(picture, side, 0, *color) : edged(picture, side));
    }
    return result;
}

QIcon themedStatusIcon(StatusItemLook::Icon icon) {
    return QIcon::hasThemeIcon(nameOf(icon)) ? QIcon::fromTheme(nameOf(icon)) : QIcon();
}

}  // namespace quillon
