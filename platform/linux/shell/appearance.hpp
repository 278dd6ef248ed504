#pragma once

#include <QDBusVariant>
#include <QObject>

namespace quillon {

/// Light or dark, as the desktop wishes: told by the settings portal where there is one, otherwise read off
/// the palette that the toolkit starts with. Follows changes. Sets the application's palette.
class Appearance : public QObject {
    Q_OBJECT
  public:
    Appearance();

  public Q_SLOTS:
    // What the portal sends when one of the desktop's settings has changed.
    void settingChanged(const QString& group, const QString& key, const QDBusVariant& value);

  private:
    void askPortal();
    void apply(uint colorScheme);

    const bool paletteIsDark_;
};

}  // namespace quillon
