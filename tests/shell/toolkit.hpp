#pragma once

#include <QApplication>
#include <QThread>
#include <chrono>
#include <functional>

namespace quillon::testing {

/// The toolkit of the test program itself, which draws nowhere: for D-Bus, and for widgets without a desktop.
inline QApplication& toolkit() {
    static int count = 1;
    static char name[] = "test";
    static char* words[] = {name, nullptr};
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static QApplication application(count, words);
    return application;
}

/// Runs the toolkit's loop until this holds; false after `limit`.
inline bool eventually(const std::function<bool()>& holds,
                       std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!holds()) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        toolkit().processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(2);
    }
    return true;
}

}  // namespace quillon::testing
