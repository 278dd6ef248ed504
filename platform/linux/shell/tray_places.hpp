#pragma once

#include <QAbstractNativeEventFilter>
#include <QDBusServiceWatcher>
#include <QObject>

namespace quillon {

/// Looks for a place where a status item can stand, until one is there. The toolkit decides for one kind of
/// tray when it is first asked for an icon, for the life of the process, and an icon made before there is any
/// tray never appears: so nobody makes one before `found`. What happens to the tray afterwards is the
/// toolkit's business.
class TrayPlaces : public QObject, private QAbstractNativeEventFilter {
    Q_OBJECT
  public:
    enum class Kind {
        none,
        notifier,   ///< a StatusNotifierHost: the panel draws, icons and menus travel by D-Bus
        embedding,  ///< a system tray of the XEmbed kind: the icon is a window of ours
    };

    TrayPlaces();
    ~TrayPlaces() override;

    Kind kind() const { return kind_; }

  Q_SIGNALS:
    void found();

  public Q_SLOTS:
    /// Asks again; the answer comes later.
    void look();

  private:
    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;
    void settle(bool hasNotifierHost);

    QDBusServiceWatcher service_;
    const uint32_t manager_;  ///< the atom MANAGER, by which a new system tray announces itself
    Kind kind_ = Kind::none;
};

}  // namespace quillon
