#include "tests/shell/notifier_host.hpp"

#include <QDBusArgument>
#include <QDBusPendingCall>
#include <QDBusVariant>
#include <stdexcept>

#include "tests/shell/toolkit.hpp"

namespace quillon::testing {

namespace {

const auto kWatcher = QStringLiteral("org.kde.StatusNotifierWatcher");
const auto kWatcherPath = QStringLiteral("/StatusNotifierWatcher");
const auto kItem = QStringLiteral("org.kde.StatusNotifierItem");
const auto kItemPath = QStringLiteral("/StatusNotifierItem");
const auto kMenu = QStringLiteral("com.canonical.dbusmenu");
const auto kMenuPath = QStringLiteral("/MenuBar");

const auto kIntrospection = QStringLiteral(
    "<interface name='org.kde.StatusNotifierWatcher'>"
    "<method name='RegisterStatusNotifierItem'><arg name='service' type='s' direction='in'/></method>"
    "<property name='IsStatusNotifierHostRegistered' type='b' access='read'/>"
    "<signal name='StatusNotifierHostRegistered'/>"
    "</interface>");

/// A (ia{sv}av): number, properties, and the same again for each child.
NotifierHost::Entry entryFrom(const QDBusArgument& argument) {
    NotifierHost::Entry entry;
    argument.beginStructure();
    argument >> entry.id >> entry.properties;
    argument.beginArray();
    while (!argument.atEnd()) {
        QDBusVariant child;
        argument >> child;
        entry.children.push_back(entryFrom(child.variant().value<QDBusArgument>()));
    }
    argument.endArray();
    argument.endStructure();
    return entry;
}

}  // namespace

NotifierHost::NotifierHost(const std::string& busAddress)
    : watcher_(std::make_unique<BusObject>(
          busAddress, kWatcher, kWatcherPath,
          [this](const QDBusMessage& call, QDBusConnection bus) { return answer(call, std::move(bus)); },
          kIntrospection)) {}

void NotifierHost::setHasPanel(bool has) {
    hasPanel_ = has;
    if (!has) return;
    watcher_->bus().send(
        QDBusMessage::createSignal(kWatcherPath, kWatcher, QStringLiteral("StatusNotifierHostRegistered")));
}

bool NotifierHost::answer(const QDBusMessage& call, QDBusConnection bus) {
    if (call.member() == QLatin1String("RegisterStatusNotifierItem")) {
        items_.push_back(call.service().isEmpty() ? call.arguments().value(0).toString() : call.service());
        bus.send(call.createReply());
        return true;
    }
    if (call.member() == QLatin1String("Get") &&
        call.arguments().value(1).toString() == QLatin1String("IsStatusNotifierHostRegistered")) {
        bus.send(call.createReply(QVariant::fromValue(QDBusVariant(hasPanel_))));
        return true;
    }
    return false;
}

QDBusMessage NotifierHost::callItem(const QString& path, const QString& interface, const QString& method,
                                    const QVariantList& arguments) {
    if (items_.empty()) throw std::runtime_error("no item has registered");
    auto call = QDBusMessage::createMethodCall(items_.back(), path, interface, method);
    call.setArguments(arguments);
    QDBusPendingCall pending = watcher_->bus().asyncCall(call);
    eventually([&] { return pending.isFinished(); });
    if (pending.isError()) throw std::runtime_error(pending.error().message().toStdString());
    return pending.reply();
}

QVariant NotifierHost::property(const QString& name) {
    const auto reply = callItem(kItemPath, QStringLiteral("org.freedesktop.DBus.Properties"),
                                QStringLiteral("Get"), {kItem, name});
    return reply.arguments().value(0).value<QDBusVariant>().variant();
}

void NotifierHost::activate() {
    callItem(kItemPath, kItem, QStringLiteral("Activate"), {0, 0});
}

NotifierHost::Entry NotifierHost::openMenu() {
    callItem(kMenuPath, kMenu, QStringLiteral("AboutToShow"), {0});
    sendEvent(0, QStringLiteral("opened"));
    return menuInStore();
}

NotifierHost::Entry NotifierHost::menuInStore() {
    const auto reply = callItem(kMenuPath, kMenu, QStringLiteral("GetLayout"), {0, -1, QStringList()});
    return entryFrom(reply.arguments().value(1).value<QDBusArgument>());
}

void NotifierHost::sendEvent(int id, const QString& event) {
    callItem(kMenuPath, kMenu, QStringLiteral("Event"),
             {id, event, QVariant::fromValue(QDBusVariant(QString())), 0U});
}

void NotifierHost::chooseEntry(int id) {
    sendEvent(id, QStringLiteral("clicked"));
}

void NotifierHost::closeMenu() {
    sendEvent(0, QStringLiteral("closed"));
}

const NotifierHost::Entry* find(const NotifierHost::Entry& root, const QString& label) {
    if (root.label() == label) return &root;
    for (const auto& child : root.children) {
        if (const auto* const found = find(child, label)) return found;
    }
    return nullptr;
}

}  // namespace quillon::testing
