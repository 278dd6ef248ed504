#include "tests/shell/accessible_windows.hpp"

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QDBusVariant>
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
      }) {}

bool AccessibleWindows::answer(const QDBusMessage& call, QDBusConnection bus) {
    if (call.member() != QLatin1String("Embed")) return false;
    program_ = call.service();
    QDBusArgument root;
    root.beginStructure();
    root << kRegistry << QDBusObjectPath(kRoot);
    root.endStructure();
    bus.send(call.createReply(QVariant::fromValue(root)));
    return true;
}

QDBusMessage AccessibleWindows::ask(const Reference& object, const QString& interface, const QString& method,
                                    const QVariantList& arguments) {
    auto call = QDBusMessage::createMethodCall(object.service, object.path, interface, method);
    call.setArguments(arguments);
    return registry_.bus().call(call);
}

std::optional<AccessibleWindows::Control> AccessibleWindows::shown(const Reference& object) {
    const auto states = ask(object, kAccessible, QStringLiteral("GetState")).arguments().value(0);
    const auto place = ask(object, kComponent, QStringLiteral("GetExtents"), {kOnTheScreen}).arguments();
    if (!states.canConvert<QDBusArgument>() || !place.value(0).canConvert<QDBusArgument>()) return {};
    QList<uint> bits;
    states.value<QDBusArgument>() >> bits;
    const auto has = [&](uint bit) { return (bits.value(static_cast<int>(bit / 32)) >> bit % 32 & 1) != 0; };
    if (!has(kShowingBit)) return {};
    const auto box = place.value(0).value<QDBusArgument>();
    int x = 0, y = 0, width = 0, height = 0;
    box.beginStructure();
    box >> x >> y >> width >> height;
    box.endStructure();
    return Control{x + width / 2, y + height / 2, has(kCheckedBit)};
}

void AccessibleWindows::collect(const Reference& object, const QString& name, std::vector<Control>& found) {
    // A control may go while it is asked: then the answers are empty.
    const auto its = ask(object, kProperties, QStringLiteral("Get"), {kAccessible, QStringLiteral("Name")});
    if (its.arguments().value(0).value<QDBusVariant>().variant().toString() == name) {
        if (const auto control = shown(object)) found.push_back(*control);
    }

    const auto answer = ask(object, kAccessible, QStringLiteral("GetChildren")).arguments().value(0);
    if (!answer.canConvert<QDBusArgument>()) return;
    std::vector<Reference> children;
    const auto list = answer.value<QDBusArgument>();
    list.beginArray();
    while (!list.atEnd()) {
        Reference child;
        QDBusObjectPath path;
        list.beginStructure();
        list >> child.service >> path;
        list.endStructure();
        child.path = path.path();
        children.push_back(child);
    }
    list.endArray();
    for (const Reference& child : children) collect(child, name, found);
}

std::vector<AccessibleWindows::Control> AccessibleWindows::controls(const std::string& name) {
    std::vector<Control> found;
    if (!program_.isEmpty()) collect({program_, kRoot}, QString::fromStdString(name), found);
    return found;
}

}  // namespace quillon::testing
