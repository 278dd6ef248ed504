#include "tests/shell/accessible_windows.hpp"

#include <QDBusMetaType>
#include <QDBusVariant>
#include <QRect>
#include <vector>

namespace quillon::testing {

namespace {

const auto kRegistry = QStringLiteral("org.a11y.atspi.Registry");
const auto kRoot = QStringLiteral("/org/a11y/atspi/accessible/root");
const auto kAccessible = QStringLiteral("org.a11y.atspi.Accessible");
const auto kComponent = QStringLiteral("org.a11y.atspi.Component");
const auto kProperties = QStringLiteral("org.freedesktop.DBus.Properties");

// Numbers of the protocol.
constexpr uint kOnTheScreen = 0;
constexpr uint kCheckedBit = 4;
constexpr uint kShowingBit = 25;

}  // namespace

AccessibleWindows::AccessibleWindows(const std::string& busAddress)
    : launcher_(
          busAddress, QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
          [address = QString::fromStdString(busAddress)](const QDBusMessage& call, QDBusConnection bus) {
              if (call.member() != QLatin1String("GetAddress")) return false;
              return bus.send(call.createReply(address));
          }),
      registry_(busAddress, kRegistry, kRoot, [this](const QDBusMessage& call, QDBusConnection bus) {
          return answer(call, std::move(bus));
      }) {
    qDBusRegisterMetaType<Reference>();
}

bool AccessibleWindows::answer(const QDBusMessage& call, QDBusConnection bus) {
    if (call.member() != QLatin1String("Embed")) return false;
    program_ = call.service();
    bus.send(call.createReply(QVariant::fromValue(Reference{kRegistry, QDBusObjectPath(kRoot)})));
    return true;
}

QDBusMessage AccessibleWindows::ask(const Reference& object, const QString& interface, const QString& method,
                                    const QVariantList& arguments) {
    auto call = QDBusMessage::createMethodCall(object.service, object.path.path(), interface, method);
    call.setArguments(arguments);
    return registry_.bus().call(call);
}

std::optional<AccessibleWindows::Control> AccessibleWindows::shown(const Reference& object) {
    const auto states = ask(object, kAccessible, QStringLiteral("GetState")).arguments().value(0);
    const auto bits = qdbus_cast<QList<uint>>(states);
    const auto has = [&](uint bit) { return (bits.value(static_cast<int>(bit / 32)) >> bit % 32 & 1) != 0; };
    if (!has(kShowingBit)) return {};
    const auto place =
        ask(object, kComponent, QStringLiteral("GetExtents"), {kOnTheScreen}).arguments().value(0);
    const QPoint middle = qdbus_cast<QRect>(place).center();
    return Control{middle.x(), middle.y(), has(kCheckedBit)};
}

void AccessibleWindows::collect(const Reference& object, const QString& name, std::vector<Control>& found) {
    // A control may go while it is asked: then the answers are empty.
    const auto its = ask(object, kProperties, QStringLiteral("Get"), {kAccessible, QStringLiteral("Name")});
    if (its.arguments().value(0).value<QDBusVariant>().variant().toString() == name) {
        if (const auto control = shown(object)) found.push_back(*control);
    }

    const auto children = ask(object, kAccessible, QStringLiteral("GetChildren")).arguments().value(0);
    for (const Reference& child : qdbus_cast<QList<Reference>>(children)) collect(child, name, found);
}

std::vector<AccessibleWindows::Control> AccessibleWindows::controls(const std::string& name) {
    std::vector<Control> found;
    if (!program_.isEmpty()) collect({program_, QDBusObjectPath(kRoot)}, QString::fromStdString(name), found);
    return found;
}

}  // namespace quillon::testing
