#include "platform/linux/shell/desktop_wake_lock.hpp"

#include <xcb/screensaver.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <limits>
#include <memory>
#include <optional>
#include <utility>

#include "base/log.hpp"
#include "platform/linux/shell/x11_desktop.hpp"

namespace quillon {

namespace {

const auto kService = QStringLiteral("org.freedesktop.ScreenSaver");
const auto kPath = QStringLiteral("/org/freedesktop/ScreenSaver");

/// As long as it takes: a service may hang, and hold the displays awake once it goes on.
constexpr int kLongestAnswer = std::numeric_limits<int>::max();

QDBusMessage callOf(const char* method) {
    return QDBusMessage::createMethodCall(kService, kPath, kService, QString::fromLatin1(method));
}

void release(uint cookie) {
    QDBusMessage message = callOf("UnInhibit");
    message << cookie;
    QDBusConnection::sessionBus().send(message);
}

/// The desktop's screen saver, also when it starts or starts anew while the lock is held. Nobody waits for
/// its answers: what was asked for and is wanted no more is given back when it is granted.
class SaverInhibition : public QObject {
  public:
    explicit SaverInhibition(const std::string& reason)
        : reason_(QString::fromStdString(reason)),
          service_(kService, QDBusConnection::sessionBus(), QDBusServiceWatcher::WatchForOwnerChange) {
        connect(&service_, &QDBusServiceWatcher::serviceRegistered, this, [this] { inhibit(); });
        connect(&service_, &QDBusServiceWatcher::serviceUnregistered, this, [this] { cookie_.reset(); });
        inhibit();
    }
    ~SaverInhibition() override { giveBack(); }

  private:
    void inhibit() {
        giveBack();  // a service that was started by the question answers and is announced, in any order
        QDBusMessage request = callOf("Inhibit");
        request << QStringLiteral("Quillon") << reason_;
        asked_ =
            new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(request, kLongestAnswer));
        connect(asked_, &QDBusPendingCallWatcher::finished, this, &SaverInhibition::answered);
    }

    void answered() {
        const QDBusPendingReply<uint> reply = *asked_;
        std::exchange(asked_, nullptr)->deleteLater();
        if (!reply.isError()) {
            cookie_ = reply.value();
        } else if (reply.error().type() != QDBusError::ServiceUnknown) {
            Log::write("wake lock refused: " + reply.error().message().toStdString());
        }
    }

    void giveBack() {
        if (cookie_) release(*std::exchange(cookie_, std::nullopt));
        auto* const late = std::exchange(asked_, nullptr);
        if (late == nullptr) return;
        late->disconnect(this);
        connect(late, &QDBusPendingCallWatcher::finished, late, [late] {
            const QDBusPendingReply<uint> reply = *late;
            if (!reply.isError()) release(reply.value());
            late->deleteLater();
        });
    }

    const QString reason_;
    QDBusServiceWatcher service_;
    QDBusPendingCallWatcher* asked_ = nullptr;  ///< deletes itself when it is answered
    std::optional<uint> cookie_;
};

/// The X server's own saver and power management; counted there by connection.
class ServerSuspension {
  public:
    ServerSuspension() { suspend(1); }
    ~ServerSuspension() { suspend(0); }
    ServerSuspension(const ServerSuspension&) = delete;
    ServerSuspension& operator=(const ServerSuspension&) = delete;

  private:
    static void suspend(uint32_t on) {
        xcb_connection_t* const c = toolkitConnection();
        if (c == nullptr) return;
        const auto* const extension = xcb_get_extension_data(c, &xcb_screensaver_id);
        if (extension == nullptr || extension->present == 0) return;
        xcb_screensaver_suspend(c, on);
        xcb_flush(c);
    }
};

class DesktopAssertion : public WakeLock::Assertion {
  public:
    explicit DesktopAssertion(const std::string& reason) : saver_(reason) {}

  private:
    SaverInhibition saver_;
    ServerSuspension server_;
};

}  // namespace

std::unique_ptr<WakeLock::Assertion> DesktopWakeLock::preventDisplaySleep(const std::string& reason) {
    return std::make_unique<DesktopAssertion>(reason);
}

}  // namespace quillon
