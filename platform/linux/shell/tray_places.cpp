#include "platform/linux/shell/tray_places.hpp"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QTimer>

#include "platform/linux/shell/x11_desktop.hpp"

namespace quillon {

namespace {

const auto kWatcher = QStringLiteral("org.kde.StatusNotifierWatcher");
const auto kWatcherPath = QStringLiteral("/StatusNotifierWatcher");

}  // namespace

TrayPlaces::TrayPlaces()
    : service_(kWatcher, QDBusConnection::sessionBus(), QDBusServiceWatcher::WatchForRegistration),
      manager_(atomNamed("MANAGER")) {
    connect(&service_, &QDBusServiceWatcher::serviceRegistered, this, &TrayPlaces::look);
    QDBusConnection::sessionBus().connect(kWatcher, kWatcherPath, kWatcher,
                                          QStringLiteral("StatusNotifierHostRegistered"), this, SLOT(look()));
    qApp->installNativeEventFilter(this);
    QTimer::singleShot(0, this, &TrayPlaces::look);
}

TrayPlaces::~TrayPlaces() {
    qApp->removeNativeEventFilter(this);
}

void TrayPlaces::look() {
    if (kind_ != Kind::none) return;
    // Without a bus a call would never be answered.
    if (!QDBusConnection::sessionBus().isConnected()) return settle(false);
    auto question = QDBusMessage::createMethodCall(
        kWatcher, kWatcherPath, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    question << kWatcher << QStringLiteral("IsStatusNotifierHostRegistered");
    const auto call = QDBusConnection::sessionBus().asyncCall(question);
    auto* const answer = new QDBusPendingCallWatcher(call, this);
    connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer] {
        const QDBusPendingReply<QDBusVariant> reply = *answer;
        settle(!reply.isError() && reply.value().variant().toBool());
        answer->deleteLater();
    });
}

void TrayPlaces::settle(bool hasNotifierHost) {
    if (kind_ != Kind::none) return;
    if (hasNotifierHost) {
        kind_ = Kind::notifier;
    } else if (systemTray() != 0) {
        kind_ = Kind::embedding;
    } else {
        return;
    }
    Q_EMIT found();
}

bool TrayPlaces::nativeEventFilter(const QByteArray& type, void* message, qintptr*) {
    if (kind_ == Kind::none && type == "xcb_generic_event_t") {
        const auto* event = static_cast<const xcb_generic_event_t*>(message);
        if ((event->response_type & 0x7F) == XCB_CLIENT_MESSAGE &&
            reinterpret_cast<const xcb_client_message_event_t*>(event)->type == manager_) {
            look();
        }
    }
    return false;
}

}  // namespace quillon
