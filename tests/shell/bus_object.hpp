#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <functional>
#include <string>

namespace quillon::testing {

/// A connection to a test's session bus, closed with this object.
class BusConnection {
  public:
    explicit BusConnection(const std::string& address);
    ~BusConnection();
    BusConnection(const BusConnection&) = delete;
    BusConnection& operator=(const BusConnection&) = delete;

    QDBusConnection& get() { return connection_; }

  private:
    const QString name_;
    QDBusConnection connection_;
};

/// A service on that bus with one object, whose calls a function answers.
class BusObject : public QDBusVirtualObject {
  public:
    /// Returns whether it has answered.
    using Handler = std::function<bool(const QDBusMessage& call, QDBusConnection bus)>;

    /// `introspection` is what clients that look before they call find out about the object.
    BusObject(const std::string& address, const QString& service, const QString& path, Handler handler,
              QString introspection = {});

    QDBusConnection& bus() { return connection_.get(); }

    QString introspect(const QString&) const override { return introspection_; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

  private:
    BusConnection connection_;
    const Handler handler_;
    const QString introspection_;
};

}  // namespace quillon::testing
