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

QVariant answerTo(QDBusPendingCall question) {
    question.waitForFinished();
    return question.reply().arguments().value(0);
}

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

QDBusPendingCall AccessibleWindows::ask(const Reference& object, const QString& interface,
                                        const QString& method, const QVariantList& arguments) {
    auto call = QDBusMessage::createMethodCall(object.service, object.path.path(), interface, method);
    call.setArguments(arguments);
    return registry_.bus().asyncCall(call);
}

// A control may go while it is asked: then the answers are empty.

std::optional<AccessibleWindows::Control> AccessibleWindows::shown(const Reference& object) {
    const QDBusPendingCall states = ask(object, kAccessible, QStringLiteral("GetState"));
    const QDBusPendingCall place = ask(object, kComponent, QStringLiteral("GetExtents"), {kOnTheScreen});
    const auto bits = qdbus_cast<QList<uint>>(answerTo(states));
    const auto has = [&](uint bit) { return (bits.value(static_cast<int>(bit / 32)) >> bit % 32 & 1) != 0; };
    if (!has(kShowingBit)) return {};
    const QPoint middle = qdbus_cast<QRect>(answerTo(place)).center();
    return Control{middle.x(), middle.y(), has(kCheckedBit)};
}

std::vector<AccessibleWindows::Control> AccessibleWindows::controls(const std::string& name) {
    struct Question {
        Reference object;
        QDBusPendingCall name;
        QDBusPendingCall children;
    };
    std::vector<Control> found;
    QList<Reference> level;
    if (!program_.isEmpty()) level.push_back({program_, QDBusObjectPath(kRoot)});
    while (!level.isEmpty()) {
        // All of a level at once: one by one most of the time goes by between question and answer.
        std::vector<Question> questions;
        for (const Reference& object : level) {
            questions.push_back(
                {object,
                 ask(object, kProperties, QStringLiteral("Get"), {kAccessible, QStringLiteral("Name")}),
                 ask(object, kAccessible, QStringLiteral("GetChildren"))});
        }
        level.clear();
        for (const Question& question : questions) {
            level += qdbus_cast<QList<Reference>>(answerTo(question.children));
            const QString its = answerTo(question.name).value<QDBusVariant>().variant().toString();
            if (its.toStdString() != name) continue;
            if (const auto control = shown(question.object)) found.push_back(*control);
        }
    }
    return found;
}

}  // namespace quillon::testing
