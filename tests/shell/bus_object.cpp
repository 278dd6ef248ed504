#include "tests/shell/bus_object.hpp"

#include <stdexcept>
#include <utility>

#include "tests/shell/toolkit.hpp"

namespace quillon::testing {

namespace {

QString freshName() {
    static int last = 0;
    return QStringLiteral("test-%1").arg(++last);
}

}  // namespace

BusConnection::BusConnection(const std::string& address)
    : name_(freshName()), connection_(QDBusConnection::connectToBus(QString::fromStdString(address), name_)) {
    if (!connection_.isConnected()) throw std::runtime_error("no session bus at " + address);
}

BusConnection::~BusConnection() {
    QDBusConnection::disconnectFromBus(name_);
}

BusObject::BusObject(const std::string& address, const QString& service, const QString& path, Handler handler,
                     QString introspection)
    : connection_(address), handler_(std::move(handler)), introspection_(std::move(introspection)) {
    if (!bus().registerVirtualObject(path, this) || !bus().registerService(service)) {
        throw std::runtime_error("cannot register " + service.toStdString());
    }
}

bool BusObject::handleMessage(const QDBusMessage& message, const QDBusConnection& connection) {
    return handler_(message, connection);
}

}  // namespace quillon::testing
