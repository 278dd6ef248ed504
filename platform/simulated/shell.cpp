#include "platform/simulated/shell.hpp"

#include <algorithm>
#include <utility>

namespace quillon::simulated {

namespace {

bool reacts(const MenuItem& item) {
    return item.enabled && !item.isSeparator && !item.action.empty();
}

const MenuItem* findKey(const Menu& menu, const std::string& key) {
    for (const MenuItem& item : menu) {
        if (item.key == key && reacts(item)) return &item;
        if (const MenuItem* inside = findKey(item.submenu, key)) return inside;
    }
    return nullptr;
}

bool hasControl(const PanelContent& content, const std::string& control, const std::string& value) {
    const auto isIt = [&](const auto& each) { return each.id == control; };
    if (isIt(content.streamButton) || std::ranges::any_of(content.buttons, isIt) ||
        std::ranges::any_of(content.footer, isIt) || std::ranges::any_of(content.switches, isIt)) {
        return value.empty();
    }
    const auto isThePermissions = [&](const PanelPermission& each) {
        return !each.granted && isIt(each.button);
    };
    if (std::ranges::any_of(content.permissions, isThePermissions)) return value.empty();
    return std::ranges::any_of(content.rows, [&](const PanelRow& row) {
        if (row.button && isIt(*row.button)) return value.empty();
        return isIt(row) &&
               std::ranges::any_of(row.pills, [&](const PanelPill& pill) { return pill.value == value; });
    });
}

class SimulatedItem : public StatusItem {
  public:
    SimulatedItem(ShellWorld& world, std::shared_ptr<ShellWorld::Item> item)
        : world_(world), item_(std::move(item)) {
        world_.item = item_;
        ++world_.itemsMade;
    }
    ~SimulatedItem() override {
        if (world_.item == item_) world_.item = nullptr;
    }

    void setLook(const StatusItemLook& look) override { item_->look = look; }
    void menuChanged() override {
        if (item_->menu) item_->menuInStore = item_->menu->menuNeedsUpdate();
    }

  private:
    ShellWorld& world_;
    const std::shared_ptr<ShellWorld::Item> item_;
};

class HeldAssertion : public WakeLock::Assertion {
  public:
    HeldAssertion(std::vector<std::string>& held, const std::string& reason) : held_(held), reason_(reason) {
        held_.push_back(reason_);
    }
    ~HeldAssertion() override { held_.erase(std::ranges::find(held_, reason_)); }
    HeldAssertion(const HeldAssertion&) = delete;
    HeldAssertion& operator=(const HeldAssertion&) = delete;

  private:
    std::vector<std::string>& held_;
    const std::string reason_;
};

}  // namespace

class SimulatedPanel : public Panel {
  public:
    SimulatedPanel(ShellWorld& world, PanelCallbacks callbacks) : world_(world) {
        world_.panelCallbacks_ = std::move(callbacks);
    }
    ~SimulatedPanel() override {
        world_.panelCallbacks_ = {};
        world_.panel.reset();
    }

    void show(const PanelContent& content) override { world_.panel = content; }
    void update(const PanelContent& content) override {
        if (!world_.panel) return;
        world_.panel = content;
        ++world_.panelUpdates;
    }
    void close() override { world_.closePanel(); }
    bool isShown() const override { return world_.panel.has_value(); }

  private:
    ShellWorld& world_;
};

class SimulatedDialogs : public Dialogs {
  public:
    explicit SimulatedDialogs(ShellWorld& world) : world_(world) {}

    void ask(const TextQuestion& question, std::function<void(std::optional<std::string>)> answer) override {
        if (world_.question) return;
        world_.question = question;
        world_.onAnswer_ = std::move(answer);
    }
    void tell(const Message& message) override { world_.told.push_back(message); }

  private:
    ShellWorld& world_;
};

class SimulatedShell : public ApplicationShell, Opener, WakeLock, LoginItem {
  public:
    SimulatedShell(RunLoop& loop, ShellWorld& world) : loop_(loop), world_(world), dialogs_(world) {}
    ~SimulatedShell() override {
        world_.application = {};
        world_.question.reset();
        world_.onAnswer_ = nullptr;
    }
    SimulatedShell(const SimulatedShell&) = delete;
    SimulatedShell& operator=(const SimulatedShell&) = delete;

    void run(ApplicationCallbacks callbacks) override {
        world_.application = std::move(callbacks);
        loop_.post([this] { world_.application.didFinishLaunching(); });
        loop_.run();
        world_.application.willTerminate();
    }
    void terminate() override {
        ++world_.terminations;
        loop_.stop();
    }

    std::unique_ptr<StatusItem> makeStatusItem(std::function<void()> onClick) override {
        auto item = std::make_shared<ShellWorld::Item>();
        item->onClick = std::move(onClick);
        return std::make_unique<SimulatedItem>(world_, std::move(item));
    }
    std::unique_ptr<StatusItem> makeStatusItem(MenuCallbacks menu) override {
        auto item = std::make_shared<ShellWorld::Item>();
        item->menu = std::move(menu);
        return std::make_unique<SimulatedItem>(world_, std::move(item));
    }
    std::unique_ptr<Panel> makePanel(PanelCallbacks callbacks) override {
        return std::make_unique<SimulatedPanel>(world_, std::move(callbacks));
    }
    Dialogs& dialogs() override { return dialogs_; }
    Opener& opener() override { return *this; }
    WakeLock& wakeLock() override { return *this; }
    LoginItem& loginItem() override { return *this; }

  private:
    bool openFile(const std::filesystem::path& file) override {
        if (world_.opensThings) world_.openedFiles.push_back(file);
        return world_.opensThings;
    }
    bool openSettings(Pane pane) override {
        if (world_.opensThings) world_.openedPanes.push_back(pane);
        return world_.opensThings;
    }

    std::unique_ptr<Assertion> preventDisplaySleep(const std::string& reason) override {
        if (!world_.givesWakeLocks) return nullptr;
        return std::make_unique<HeldAssertion>(world_.wakeLocks, reason);
    }

    Status status() override { return world_.login; }
    void enlist() override { changeLogin(Status::enabled); }
    void withdraw() override { changeLogin(Status::notRegistered); }
    void changeLogin(Status status) {
        if (!world_.loginFailure.empty()) throw LoginItemError(world_.loginFailure);
        world_.login = status;
    }

    RunLoop& loop_;
    ShellWorld& world_;
    SimulatedDialogs dialogs_;
};

std::unique_ptr<ApplicationShell> makeSimulatedShell(RunLoop& loop, ShellWorld& world) {
    if (!world.failure.empty()) throw ShellFailure(world.failure);
    if (world.runsAlready) return nullptr;
    return std::make_unique<SimulatedShell>(loop, world);
}

const MenuItem* findItem(const Menu& menu, const std::string& title) {
    for (const MenuItem& item : menu) {
        if (!item.isSeparator && item.title == title) return &item;
        if (const MenuItem* inside = findItem(item.submenu, title)) return inside;
    }
    return nullptr;
}

void ShellWorld::clickItem() {
    if (!item) return;
    if (item->menu) {
        showMenu();
    } else {
        item->onClick();
    }
}

void ShellWorld::showMenu() {
    if (!item || !item->menu || openMenu) return;
    openMenu = item->menu->menuNeedsUpdate();
    item->menu->menuWillOpen();
}

void ShellWorld::closeMenu() {
    if (!openMenu) return;
    openMenu.reset();
    if (item) item->menu->menuDidClose();
}

bool ShellWorld::clickMenu(const std::string& title) {
    const MenuItem* found = openMenu ? findItem(*openMenu, title) : nullptr;
    if (found == nullptr || !reacts(*found)) return false;
    const MenuItem clicked = *found;
    const auto clickedOn = item;  // the action may replace the status item
    closeMenu();
    clickedOn->menu->onAction(clicked);
    return true;
}

bool ShellWorld::pressKey(const std::string& key) {
    if (!item || !item->menu) return false;
    const Menu menu = item->menu->menuNeedsUpdate();
    const MenuItem* found = findKey(menu, key);
    if (found == nullptr) return false;
    const auto clickedOn = item;
    clickedOn->menu->onAction(*found);
    return true;
}

bool ShellWorld::clickPanel(const std::string& control, const std::string& value) {
    if (!panel || !hasControl(*panel, control, value)) return false;
    panelCallbacks_.onChange({control, value});
    return true;
}

void ShellWorld::closePanel() {
    if (!panel) return;
    panel.reset();
    if (panelCallbacks_.onClose) panelCallbacks_.onClose();
}

void ShellWorld::answer(std::optional<std::string> text) {
    if (!question) return;
    question.reset();
    const auto onAnswer = std::exchange(onAnswer_, nullptr);
    onAnswer(std::move(text));
}

}  // namespace quillon::simulated
