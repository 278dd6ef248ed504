#pragma once

#include <QVariantMap>
#include <memory>
#include <string>
#include <vector>

#include "tests/shell/bus_object.hpp"

namespace quillon::testing {

/// A panel of the StatusNotifier kind without a picture: the watcher at which items register, and what a user
/// does to them.
class NotifierHost {
  public:
    explicit NotifierHost(const std::string& busAddress);

    /// Whether a panel is there for the watcher; without one items are not shown anywhere.
    void setHasPanel(bool has);

    /// The services that registered an item so far.
    const std::vector<QString>& items() const { return items_; }

    QVariant property(const QString& name);

    /// The left button on the item.
    void activate();

    /// One line of the item's menu as the panel gets it.
    struct Entry {
        int id = 0;
        QVariantMap properties;
        std::vector<Entry> children;
        QString label() const { return properties.value(QStringLiteral("label")).toString(); }
    };
    /// Opens the menu as panels do, and reads it whole.
    Entry openMenu();
    /// Reads it without a word that it opens, as some panels do.
    Entry menuInStore();
    void chooseEntry(int id);
    void closeMenu();

  private:
    bool answer(const QDBusMessage& call, QDBusConnection bus);
    QDBusMessage callItem(const QString& path, const QString& interface, const QString& method,
                          const QVariantList& arguments);
    void sendEvent(int id, const QString& event);

    bool hasPanel_ = true;
    std::vector<QString> items_;
    std::unique_ptr<BusObject> watcher_;
};

/// The first entry with this label, in all levels; null without one.
const NotifierHost::Entry* find(const NotifierHost::Entry& root, const QString& label);

}  // namespace quillon::testing
