#include "platform/linux/shell/appearance.hpp"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

#include "platform/linux/shell/theme.hpp"

namespace quillon {

namespace {

// As the portal's documentation has it: 0 no preference, 1 dark, 2 light.
constexpr uint kNoPreference = 0;
constexpr uint kPreferDark = 1;

const auto kPortal = QStringLiteral("org.freedesktop.portal.Desktop");
const auto kPortalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const auto kInterface = QStringLiteral("org.freedesktop.portal.Settings");
const auto kGroup = QStringLiteral("org.freedesktop.appearance");
const auto kKey = QStringLiteral("color-scheme");

/// The portal's first version wraps a value twice.
QVariant unwrapped(QVariant value) {
    while (value.canConvert<QDBusVariant>()) value = value.value<QDBusVariant>().variant();
    return value;
}

}  // namespace

Appearance::Appearance() : paletteIsDark_(themeOf(QApplication::palette()).isDark) {
    apply(kNoPreference);
    QDBusConnection::sessionBus().connect(kPortal, kPortalPath, kInterface, QStringLiteral("SettingChanged"),
                                          this, SLOT(settingChanged(QString, QString, QDBusVariant)));
    askPortal();
}

void Appearance::askPortal() {
    auto question = QDBusMessage::createMethodCall(kPortal, kPortalPath, kInterface, QStringLiteral("Read"));
    question << kGroup << kKey;
    const auto call = QDBusConnection::sessionBus().asyncCall(question);
    auto* const answer = new QDBusPendingCallWatcher(call, this);
    connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer] {
        const QDBusPendingReply<QDBusVariant> reply = *answer;
        if (!reply.isError()) apply(unwrapped(reply.value().variant()).toUInt());
        answer->deleteLater();
    });
}

void Appearance::settingChanged(const QString& group, const QString& key, const QDBusVariant& value) {
    if (group == kGroup && key == kKey) apply(unwrapped(value.variant()).toUInt());
}

void Appearance::apply(uint colorScheme) {
    const bool dark = colorScheme == kNoPreference ? paletteIsDark_ : colorScheme == kPreferDark;
    QApplication::setPalette(paletteOf(dark ? darkTheme() : lightTheme()));
}

}  // namespace quillon
