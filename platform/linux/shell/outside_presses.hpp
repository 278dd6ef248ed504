#pragma once

#include <QAbstractNativeEventFilter>
#include <functional>

namespace quillon {

/// Tells of presses of the pointer's buttons outside our windows. A window loses its activation to other
/// windows only: a click on the desktop or on a panel takes nothing from it.
class OutsidePresses : private QAbstractNativeEventFilter {
  public:
    explicit OutsidePresses(std::function<void()> onPress);
    ~OutsidePresses() override;
    OutsidePresses(const OutsidePresses&) = delete;
    OutsidePresses& operator=(const OutsidePresses&) = delete;

  private:
    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;
    void listen(bool on) const;

    const std::function<void()> onPress_;
    const int opcode_;  ///< of XInput's events; 0 without the extension
};

}  // namespace quillon
