// The shell with a small application in it that says on standard output what it is told, and where the
// controls of the panel lie, so that a test can work with it as a user does.
//
//     quillon-shell-probe [--menu] [--state STATE] [--mirror] [--dark] [--notice] [--show] [--ask] [--tell]
//                         [--keep-awake]

#include <QApplication>
#include <QElapsedTimer>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "base/log.hpp"
#include "platform/linux/run_loop.hpp"
#include "platform/linux/shell/panel/control.hpp"
#include "platform/linux/shell/qt_shell.hpp"
#include "platform/linux/single_instance.hpp"
#include "tests/shell/probe/sample.hpp"

namespace {

using namespace quillon;
using namespace quillon::testing;

void say(const std::string& line) {
    std::puts(line.c_str());
}

class Probe {
  public:
    Probe(std::vector<std::string> words, LinuxRunLoop& loop, SingleInstance& instance)
        : words_(std::move(words)), loop_(loop) {
        ShellHost host;
        host.loopDescriptor = loop.descriptor();
        host.runLoopTurn = [&loop] { loop.runReady(); };
        host.watchReopening = [&instance](std::function<void()> action) {
            instance.setOnReopened(std::move(action));
        };
        shell_ = std::make_unique<QtShell>(std::move(host));
        if (has("--dark")) QApplication::setPalette(paletteOf(darkTheme()));
    }

    void run() {
        shell_->run({.didFinishLaunching = [this] { launched(); },
                     .didBecomeActive = [] { say("active"); },
                     .wasReopened =
                         [this] {
                             say("reopened");
                             if (lock_) {
                                 lock_.reset();
                                 say("lock given back");
                             }
                             show();
                         },
                     .hasNoStatusArea =
                         [this] {
                             say("no status area");
                             show();
                         },
                     .gotStatusArea = [] { say("status area came"); },
                     .willTerminate = [] { say("terminating"); }});
        panel_.reset();
        item_.reset();
        lock_.reset();
        shell_.reset();
        say("ended");
    }

  private:
    bool has(const std::string& word) const { return std::ranges::count(words_, word) > 0; }
    std::string valueOf(const std::string& word, const std::string& otherwise) const {
        const auto found = std::ranges::find(words_, word);
        return found == words_.end() || found + 1 == words_.end() ? otherwise : *(found + 1);
    }

    PanelContent content() const {
        PanelContent content = samplePanel(state_, has("--mirror"));
        if (has("--notice")) {
            content.notice =
                "This desktop has no place for status items. Start Quillon once more to bring this window "
                "back.";
        }
        return content;
    }

    void launched() {
        say("launched");
        QObject::connect(qApp, &QApplication::focusChanged, qApp, [](QWidget*, const QWidget* now) {
            if (now != nullptr) say("focus " + now->accessibleName().toStdString());
        });
        state_ = valueOf("--state", "usb");
        panel_ = shell_->makePanel({.onChange = [this](const PanelChange& change) { changed(change); },
                                    .onClose = [] { say("panel closed"); }});
        makeItem();
        // The program's own loop within the toolkit's.
        loop_.post([] { say("posted work ran"); });
        beat_ = loop_.addTimer(
            std::chrono::milliseconds(20), RunLoop::Repeat::once, [] { say("timer fired"); },
            Duration::zero());
        if (has("--show")) show();
        if (has("--ask")) ask();
        if (has("--tell")) tell();
        if (has("--keep-awake")) lock_ = shell_->wakeLock().preventDisplaySleep("Quillon streaming");
    }

    void makeItem() {
        if (has("--menu")) {
            item_ = shell_->makeStatusItem(MenuCallbacks{
                .menuNeedsUpdate =
                    [this] { return sampleMenu(content().status, valueOf("--device", "Studio tablet")); },
                // Once it is there and has the keyboard.
                .menuWillOpen = [] { QTimer::singleShot(0, qApp, [] { say("menu opens"); }); },
                .menuDidClose = [] { say("menu closed"); },
                .onAction = [this](const MenuItem& it) { chosen(it); }});
        } else {
            item_ = shell_->makeStatusItem([this] {
                say("clicked");
                if (panel_->isShown()) {
                    panel_->close();
                } else {
                    show();
                }
            });
        }
        const bool failed = state_ == "failed";
        item_->setLook({.icon = failed ? StatusItemLook::Icon::error : StatusItemLook::Icon::normal,
                        .description = failed ? "Quillon error" : "Quillon",
                        .toolTip = "Quillon — " + state_});
    }

    void chosen(const MenuItem& item) {
        say("chosen " + item.action + " [" + item.representedObject.value_or("-") + "] " + item.title);
        if (item.action == "quit") shell_->terminate();
        if (item.action == "rescan") {
            // As the switch of the front end does: the item goes in the middle of its own report.
            item_.reset();
            makeItem();
            say("item replaced");
        }
        if (item.action == "stop") {
            state_ = "stopped";
            item_->setLook({.icon = StatusItemLook::Icon::normal, .description = "", .toolTip = "Stopped"});
        }
    }

    void changed(const PanelChange& change) {
        say("change " + change.control + " [" + change.value + "]");
        if (change.control == "quit") shell_->terminate();
        if (change.control == "about") tell();
        if (change.control == "openLog") shell_->opener().openFile(Log::url());
        if (change.control == "wifiAddress") ask();
        if (change.control == "toggleStreaming") {
            state_ = state_ == "stopped" ? "usb" : "stopped";
            panel_->update(content());
            say("state " + state_);
        }
    }

    void show() {
        QElapsedTimer since;
        since.start();
        panel_->show(content());
        QCoreApplication::processEvents();
        say("panel shown after " + std::to_string(static_cast<double>(since.nsecsElapsed()) / 1e6) + " ms");
        for (const QWidget* window : QApplication::topLevelWidgets()) {
            for (const Control* control : window->findChildren<Control*>()) locate(*control);
        }
        say("all controls");
    }

    /// A line for a control: its middle on the screen, in the pixels of the X server.
    static void locate(const Control& control) {
        if (!control.isVisible()) return;
        const QPoint middle = control.mapToGlobal(control.rect().center()) * control.devicePixelRatioF();
        say("control " + std::to_string(middle.x()) + " " + std::to_string(middle.y()) + " " +
            control.accessibleName().toStdString());
    }

    void ask() {
        shell_->dialogs().ask(
            {.message = "Wi-Fi address (fallback)",
             .information = "Only needed when Quillon cannot find your device by itself, such as on "
                            "a network that blocks Bonjour discovery.\n\nLeave empty in normal use: "
                            "picking a device in the menu already remembers its address.",
             .text = "192.168.1.20",
             .placeholder = "192.168.1.20"},
            [](const std::optional<std::string>& text) { say("answer " + text.value_or("-")); });
        say("asked");
    }

    void tell() {
        shell_->dialogs().tell({.message = "Quillon",
                                .information =
                                    "Version 0.1.0\nTurns an iPad into a second display over USB or Wi-Fi."
                                    "\n\nTouch → mouse, drag, two-finger scroll.\n"
                                    "Log: ~/Library/Logs/Quillon.log"});
        say("told");
    }

    const std::vector<std::string> words_;
    LinuxRunLoop& loop_;
    std::string state_ = "usb";
    std::unique_ptr<QtShell> shell_;
    std::unique_ptr<Panel> panel_;
    std::unique_ptr<StatusItem> item_;
    std::unique_ptr<WakeLock::Assertion> lock_;
    std::unique_ptr<Timer> beat_;
};

}  // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    LinuxRunLoop loop;
    const auto instance = SingleInstance::claim(loop);
    if (!instance) {
        say("runs already");
        return 0;
    }
    Probe(std::vector<std::string>(argv + 1, argv + argc), loop, *instance).run();
    return 0;
}
