#include "platform/linux/shell/theme.hpp"

#include <QGuiApplication>

namespace quillon {

const Theme& lightTheme() {
    static const Theme theme{
        .isDark = false,
        .window = QColor(0xfb, 0xfb, 0xfd),
        .raised = QColor(0xeb, 0xed, 0xf2),
        .hovered = QColor(0xdf, 0xe2, 0xea),
        .outline = QColor(0xd3, 0xd7, 0xe0),
        .text = QColor(0x1b, 0x1f, 0x2a),
        .quiet = QColor(0x5b, 0x63, 0x75),
        .accent = QColor(0x3c, 0x55, 0xd0),
        .onAccent = QColor(0xff, 0xff, 0xff),
        .notice = QColor(0xff, 0xf1, 0xd2),
        .stopped = QColor(0x7b, 0x83, 0x94),
        .starting = QColor(0xa8, 0x6a, 0x00),
        .usb = QColor(0x1c, 0x8a, 0x4a),
        .wifi = QColor(0x1f, 0x6f, 0xd6),
        .failed = QColor(0xc9, 0x2a, 0x2a),
    };
    return theme;
}

const Theme& darkTheme() {
    static const Theme theme{
        .isDark = true,
        .window = QColor(0x1f, 0x22, 0x2a),
        .raised = QColor(0x2f, 0x34, 0x3f),
        .hovered = QColor(0x3b, 0x41, 0x4e),
        .outline = QColor(0x3d, 0x43, 0x50),
        .text = QColor(0xee, 0xf0, 0xf5),
        .quiet = QColor(0xa6, 0xae, 0xbf),
        .accent = QColor(0x4a, 0x64, 0xdf),
        .onAccent = QColor(0xff, 0xff, 0xff),
        .notice = QColor(0x4a, 0x3d, 0x1c),
        .stopped = QColor(0x98, 0xa1, 0xb3),
        .starting = QColor(0xf2, 0xb4, 0x3c),
        .usb = QColor(0x4c, 0xc9, 0x7c),
        .wifi = QColor(0x5a, 0xa9, 0xff),
        .failed = QColor(0xff, 0x6b, 0x66),
    };
    return theme;
}

const Theme& themeOf(const QPalette& palette) {
    return palette.color(QPalette::Window).lightness() < 128 ? darkTheme() : lightTheme();
}

QPalette paletteOf(const Theme& theme) {
    QPalette palette;
    palette.setColor(QPalette::Window, theme.window);
    palette.setColor(QPalette::WindowText, theme.text);
    palette.setColor(QPalette::Base, theme.isDark ? theme.window.lighter(120) : Qt::white);
    palette.setColor(QPalette::AlternateBase, theme.raised);
    palette.setColor(QPalette::Text, theme.text);
    palette.setColor(QPalette::PlaceholderText, theme.quiet);
    palette.setColor(QPalette::Button, theme.raised);
    palette.setColor(QPalette::ButtonText, theme.text);
    palette.setColor(QPalette::BrightText, theme.onAccent);
    palette.setColor(QPalette::Highlight, theme.accent);
    palette.setColor(QPalette::HighlightedText, theme.onAccent);
    palette.setColor(QPalette::ToolTipBase, theme.raised);
    palette.setColor(QPalette::ToolTipText, theme.text);
    palette.setColor(QPalette::Link, theme.accent);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        palette.setColor(QPalette::Disabled, role, theme.quiet);
    }
    return palette;
}

QFont scaledFont(double factor, QFont::Weight weight) {
    QFont font = QGuiApplication::font();
    if (font.pointSizeF() > 0) {
        font.setPointSizeF(font.pointSizeF() * factor);
    } else {
        font.setPixelSize(qRound(font.pixelSize() * factor));
    }
    font.setWeight(weight);
    return font;
}

QFont smallFont() {
    return scaledFont(0.88);
}

}  // namespace quillon
