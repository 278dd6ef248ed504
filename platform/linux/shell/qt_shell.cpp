#include "platform/linux/shell/qt_shell.hpp"

#include <QStyleFactory>
#include <chrono>
#include <utility>

#include "platform/linux/shell/icons.hpp"
#include "platform/linux/shell/qt_status_item.hpp"

namespace quillon {

namespace {

/// A desktop that has just started may take this long to show its tray.
constexpr auto kTrayPatience = std::chrono::seconds(4);

std::unique_ptr<QApplication> makeApplication() {
    // Windows of ours go where they belong, at the pointer; only X11 lets them.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "xcb");
    static int count = 1;
    static char name[] = "Quillon";
    static char* words[] = {name, nullptr};
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
    QTimer::singleShot(kTrayPatience, &watched, [this, &callbacks] {
        if (places_.kind() == TrayPlaces::Kind::none) callbacks.hasNoStatusArea();
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
    return std::make_unique<QtStatusItem>(places_, unlessDismissing);
}

std::unique_ptr<StatusItem> QtShell::makeStatusItem(MenuCallbacks menu) {
    return std::make_unique<QtStatusItem>(places_, std::move(menu));
}

std::unique_ptr<Panel> QtShell::makePanel(PanelCallbacks callbacks) {
    return std::make_unique<QtPanel>(places_, dismissal_, std::move(callbacks));
}

}  // namespace quillon
