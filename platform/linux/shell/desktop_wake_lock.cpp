#include "platform/linux/shell/desktop_wake_lock.hpp"

#include <xcb/screensaver.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <memory>
#include <optional>

#include "base/log.hpp"
#include "platform/linux/shell/x11_desktop.hpp"

namespace quillon {

namespace {

const auto kService = QStringLiteral("org.freedesktop.ScreenSaver");
const auto kPath = QStringLiteral("/org/freedesktop/ScreenSaver");

/// Giving up the lock waits for an answer that is still on its way; milliseconds.
constexpr int kLongestAnswer = 1000;

QDBusMessage callOf(const char* method) {
    return QDBusMessage::createMethodCall(kService, kPath, kService, QString::fromLatin1(method));
}

/// The desktop's screen saver, also when it starts or starts anew while the lock is held.
class SaverInhibition : public QObject {
  public:
    explicit SaverInhibition(const std::string& reason)
        : reason_(QString::fromStdString(reason)),
          service_(kService, QDBusConnection::sessionBus(), QDBusServiceWatcher::WatchForOwnerChange) {
        connect(&service_, &QDBusServiceWatcher::serviceRegistered, this, [this] { inhibit(); });
        connect(&service_, &QDBusServiceWatcher::serviceUnregistered, this, [this] { cookie_.reset(); });
        inhibit();
    }
    ~SaverInhibition() override {
        if (asked_) {
            asked_->waitForFinished();
            take(*asked_);
        }
        if (!cookie_) return;
        QDBusMessage release = callOf("UnInhibit");
        release << *cookie_;
        QDBusConnection::sessionBus().send(release);
    }

  private:
    void inhibit() {
        QDBusMessage request = callOf("Inhibit");
        request << QStringLiteral("Quillon") << reason_;
        asked_ = std::make_unique<QDBusPendingCallWatcher>(
            QDBusConnection::sessionBus().asyncCall(request, kLongestAnswer));
        connect(asked_.get(), &QDBusPendingCallWatcher::finished, this, [this] {
            take(*asked_);
            asked_.release()->deleteLater();
        });
    }

    void take(const QDBusPendingReply<uint>& reply) {
        if (!reply.isError()) {
            cookie_ = reply.value();
        } else if (reply.error().type() != QDBusError::ServiceUnknown) {
            Log::write("wake lock refused: " + reply.error().message().toStdString());
        }
    }

    const QString reason_;
    QDBusServiceWatcher service_;
    std::unique_ptr<QDBusPendingCallWatcher> asked_;  ///< not yet answered; must be known to be taken back
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
