#pragma once

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QDBusPendingCall>
#include <optional>
#include <string>
#include <vector>

#include "tests/shell/bus_object.hpp"

namespace quillon::testing {

/// The windows of a program as screen readers get them, by AT-SPI on a test's session bus: where its controls
/// lie and whether they are checked. Made before the program starts.
class AccessibleWindows {
  public:
    explicit AccessibleWindows(const std::string& busAddress);

    /// In the program's environment: somebody listens.
    static constexpr const char* kSwitch = "QT_LINUX_ACCESSIBILITY_ALWAYS_ON";

    struct Control {
        int x = 0;  ///< its middle, pixels of the screen
        int y = 0;
        bool checked = false;
    };
    /// The controls of this name that are shown now.
    std::vector<Control> controls(const std::string& name);

  private:
    struct Reference {
        QString service;
        QDBusObjectPath path;

        friend QDBusArgument& operator<<(QDBusArgument& argument, const Reference& reference) {
            argument.beginStructure();
            argument << reference.service << reference.path;
            argument.endStructure();
            return argument;
        }
        friend const QDBusArgument& operator>>(const QDBusArgument& argument, Reference& reference) {
            argument.beginStructure();
            argument >> reference.service >> reference.path;
            argument.endStructure();
            return argument;
        }
    };
    bool answer(const QDBusMessage& call, QDBusConnection bus);
    QDBusPendingCall ask(const Reference& object, const QString& interface, const QString& method,
                         const QVariantList& arguments = {});
    std::optional<Control> shown(const Reference& object);

    QString program_;
    BusObject launcher_;  ///< tells where the bus is for all this: it is the session's own
    BusObject registry_;
};

}  // namespace quillon::testing
