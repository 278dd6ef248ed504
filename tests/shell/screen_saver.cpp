#include "tests/shell/screen_saver.hpp"

#include <utility>

namespace quillon::testing {

ScreenSaver::ScreenSaver(const std::string& busAddress, Mood mood)
    : mood_(mood),
      object_(
          busAddress, QStringLiteral("org.freedesktop.ScreenSaver"),
          QStringLiteral("/org/freedesktop/ScreenSaver"),
          [this](const QDBusMessage& call, QDBusConnection bus) { return answer(call, std::move(bus)); }) {
    clients_.setConnection(object_.bus());
    clients_.setWatchMode(QDBusServiceWatcher::WatchForUnregistration);
    QObject::connect(&clients_, &QDBusServiceWatcher::serviceUnregistered, &clients_,
                     [this](const QString& gone) {
                         std::erase_if(held_, [&](const auto& each) { return each.second == gone; });
                     });
}

bool ScreenSaver::answer(const QDBusMessage& call, QDBusConnection bus) {
    if (call.member() == QLatin1String("Inhibit")) {
        ++asked_;
        reason_ = call.arguments().value(1).toString().toStdString();
        if (mood_ == Mood::grants) grant(call);
        if (mood_ == Mood::hangs) waiting_.push_back(call);
        if (mood_ == Mood::refuses) bus.send(call.createErrorReply(QDBusError::AccessDenied, "not today"));
        return true;
    }
    if (call.member() != QLatin1String("UnInhibit")) return false;
    held_.erase(call.arguments().value(0).toUInt());
    bus.send(call.createReply());
    return true;
}

void ScreenSaver::grant(const QDBusMessage& call) {
    clients_.addWatchedService(call.service());
    held_.emplace(++lastCookie_, call.service());
    object_.bus().send(call.createReply(lastCookie_));
}

void ScreenSaver::goOn() {
    mood_ = Mood::grants;
    for (const QDBusMessage& call : std::exchange(waiting_, {})) grant(call);
}

}  // namespace quillon::testing
