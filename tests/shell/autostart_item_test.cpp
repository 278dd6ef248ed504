#include "platform/linux/shell/autostart_item.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <string>

namespace quillon {
namespace {

namespace fs = std::filesystem;
using Status = LoginItem::Status;

class AutostartItemTest : public ::testing::Test {
  protected:
    AutostartItemTest() {
        std::string pattern = ::testing::TempDir() + "quillon-autostart-XXXXXX";
        folder = mkdtemp(pattern.data());
        program = folder / "Quillon.app" / "QuillonHost";
        fs::create_directory(program.parent_path());
        fs::create_symlink("/bin/true", program);
    }
    ~AutostartItemTest() override { fs::remove_all(folder); }

    std::string entry() const {
        std::ifstream file(folder / "autostart" / "quillon.desktop");
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
    void writeEntry(const std::string& text) const {
        fs::create_directories(folder / "autostart");
        std::ofstream(folder / "autostart" / "quillon.desktop") << text;
    }

    fs::path folder;
    fs::path program;
};

TEST_F(AutostartItemTest, EnlistsAndWithdraws) {
    AutostartItem item(program, folder / "autostart");
    EXPECT_EQ(item.status(), Status::notRegistered);
    item.enlist();
    EXPECT_EQ(item.status(), Status::enabled);
    EXPECT_NE(entry().find("\nExec=\"" + program.string() + "\" --at-login\n"), std::string::npos) << entry();
    item.withdraw();
    EXPECT_EQ(item.status(), Status::notRegistered);
    EXPECT_TRUE(fs::is_empty(folder / "autostart"));
}

TEST_F(AutostartItemTest, TheDesktopsOwnSettingsMaySwitchItOff) {
    AutostartItem item(program, folder / "autostart");
    writeEntry("[Desktop Entry]\nType=Application\nHidden=true\n");
    EXPECT_EQ(item.status(), Status::requiresApproval);
    writeEntry("[Desktop Entry]\nType=Application\nX-GNOME-Autostart-enabled=false");
    EXPECT_EQ(item.status(), Status::requiresApproval);
    item.enlist();
    EXPECT_EQ(item.status(), Status::enabled);
}

TEST_F(AutostartItemTest, AProgramThatIsNotThereIsNotFound) {
    AutostartItem item(folder / "nothing", folder / "autostart");
    EXPECT_EQ(item.status(), Status::notFound);
}

TEST_F(AutostartItemTest, WithdrawingTwiceIsNoError) {
    AutostartItem item(program, folder / "autostart");
    EXPECT_NO_THROW(item.withdraw());
}

TEST_F(AutostartItemTest, SaysWhyItCannotBeWritten) {
    std::ofstream(folder / "autostart") << "a file where the folder should be";
    AutostartItem item(program, folder / "autostart");
    try {
        item.enlist();
        FAIL() << "enlisted";
    } catch (const LoginItemError& error) {
        EXPECT_NE(std::string(error.what()).find("autostart"), std::string::npos) << error.what();
    }
}

TEST_F(AutostartItemTest, QuotesWhatEntriesTreatSpecially) {
    const fs::path odd = folder / "50% of $HOME \"x\" `y` \\z";
    AutostartItem item(odd, folder / "autostart");
    item.enlist();
    EXPECT_NE(entry().find("/50%% of \\\\$HOME \\\\\"x\\\\\" \\\\`y\\\\` \\\\\\\\z\" --at-login\n"),
              std::string::npos)
        << entry();
}

}  // namespace
}  // namespace quillon
