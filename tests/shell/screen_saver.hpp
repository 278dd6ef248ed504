#pragma once

#include <QDBusServiceWatcher>
#include <map>
#include <string>
#include <vector>

#include "tests/shell/bus_object.hpp"

namespace quillon::testing {

/// The screen saver of a desktop, as the wake lock finds it on the bus. Like real ones it forgets the
/// requests of a program that is gone.
class ScreenSaver {
  public:
    enum class Mood { grants, refuses, hangs };

    explicit ScreenSaver(const std::string& busAddress, Mood mood = Mood::grants);

    /// Requests that hold it off now.
    int held() const { return static_cast<int>(held_.size()); }
    const std::string& reason() const { return reason_; }
    /// Requests so far, granted or not.
    int asked() const { return asked_; }

    /// It goes on after having hung: what was asked meanwhile is granted.
    void goOn();

  private:
    bool answer(const QDBusMessage& call, QDBusConnection bus);
    void grant(const QDBusMessage& call);

    Mood mood_;
    uint lastCookie_ = 41;
    std::map<uint, QString> held_;  ///< who holds which cookie
    std::vector<QDBusMessage> waiting_;
    std::string reason_;
    int asked_ = 0;
    BusObject object_;
    QDBusServiceWatcher clients_;
};

}  // namespace quillon::testing
