#include "platform/linux/shell/qt_shell.hpp"

#include <QSessionManager>
#include <QStyleFactory>
#include <array>
#include <chrono>
#include <string>
#include <utility>

#include "platform/linux/shell/icons.hpp"
#include "platform/linux/shell/large_pages.hpp"
#include "platform/linux/shell/panel/rehearsal.hpp"
#include "platform/linux/shell/qt_status_item.hpp"

namespace quillon {

namespace {

/// How long a desktop may take to show its tray: when it stands, and when it is just being built.
constexpr auto kTrayPatience = std::chrono::seconds(4);
constexpr auto kTrayPatienceAtLogin = std::chrono::seconds(30);
/// After so long the icon stands in the tray and a stream has begun.
constexpr auto kUntilRehearsal = std::chrono::milliseconds(1500);

std::unique_ptr<QApplication> makeApplication() {
    useLargePages(false);
    // The first word is what a session manager takes for the program; windows are of "quillon" all the same.
    static std::string program = AutostartItem::invokedProgram();
    static std::array<std::string, 4> options{"-name", "quillon", "-platform", "xcb"};
    static char* words[] = {program.data(),    options[0].data(), options[1].data(),
                            options[2].data(), options[3].data(), nullptr};
    // Windows of ours go where they belong, at the pointer; only X11 lets them. That is no word of the
    // environment, in which programs find themselves that this one opens.
    static int count = qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") ? 5 : 3;
    QCoreApplication::setApplicationName(QStringLiteral("Quillon"));
    QGuiApplication::setDesktopFileName(QStringLiteral("quillon"));
    auto application = std::make_unique<QApplication>(count, words);
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    QApplication::setWindowIcon(applicationIcon());
    QApplication::setQuitOnLastWindowClosed(false);
    return application;
}

}  // namespace

QtShell::QtShell(ShellHost host)
    : host_(std::move(host)),
      application_(makeApplication()),
      bridge_(host_.loopDescriptor, host_.runLoopTurn),
      loginItem_(AutostartItem::invokedProgram()) {}

QtShell::~QtShell() {
    host_.watchReopening(nullptr);
}

void QtShell::run(ApplicationCallbacks callbacks) {
    QTimer::singleShot(0, application_.get(), callbacks.didFinishLaunching);
    const EndSignals endSignals([this] { terminate(); });
    QObject watched;  // what watches for the callbacks ends with this call
    QObject::connect(application_.get(), &QApplication::applicationStateChanged, &watched,
                     [&callbacks](Qt::ApplicationState state) {
                         if (state == Qt::ApplicationActive) callbacks.didBecomeActive();
                     });
    // Whether it starts with the next login is for the user to say, by `loginItem`.
    QObject::connect(application_.get(), &QGuiApplication::saveStateRequest, &watched,
                     [](QSessionManager& manager) { manager.setRestartHint(QSessionManager::RestartNever); });
    const auto patience = AutostartItem::startedThisProcess() ? kTrayPatienceAtLogin : kTrayPatience;
    QTimer::singleShot(patience, &watched, [this, &callbacks, &watched] {
        if (places_.kind() != TrayPlaces::Kind::none) return;
        QObject::connect(&places_, &TrayPlaces::found, &watched, callbacks.gotStatusArea);
        callbacks.hasNoStatusArea();
    });
    host_.watchReopening(callbacks.wasReopened);
    QApplication::exec();
    host_.watchReopening(nullptr);
    callbacks.willTerminate();
}

void QtShell::terminate() {
    QMetaObject::invokeMethod(
        application_.get(), [] { QCoreApplication::exit(); }, Qt::QueuedConnection);
}

std::unique_ptr<StatusItem> QtShell::makeStatusItem(std::function<void()> onClick) {
    const auto unlessDismissing = [dismissal = dismissal_, onClick = std::move(onClick)] {
        if (!dismissal->wasThisClick()) onClick();
    };
    // The first click shall not wait for fonts.
    QTimer::singleShot(kUntilRehearsal, application_.get(), rehearsePanel);
    return std::make_unique<QtStatusItem>(places_, unlessDismissing);
}

std::unique_ptr<StatusItem> QtShell::makeStatusItem(MenuCallbacks menu) {
    return std::make_unique<QtStatusItem>(places_, std::move(menu));
}

std::unique_ptr<Panel> QtShell::makePanel(PanelCallbacks callbacks) {
    return std::make_unique<QtPanel>(places_, dismissal_, std::move(callbacks));
}

}  // namespace quillon
