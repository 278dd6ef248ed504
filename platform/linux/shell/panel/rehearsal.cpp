#include "platform/linux/shell/panel/rehearsal.hpp"

#include <string>
#include <vector>

#include "platform/linux/shell/panel/panel_window.hpp"

namespace quillon {

namespace {

/// The letters that panels are made of, as many in a word as fit into a pill.
std::vector<std::string> allLetters() {
    std::vector<std::string> words{"—–·…×→~’"};
    constexpr size_t kLongest = 16;
    for (char letter = '!'; letter <= '~'; ++letter) {
        if (words.size() == 1 || words.back().size() == kLongest) words.emplace_back();
        words.back() += letter;
    }
    return words;
}

/// Each kind of control.
PanelContent everything() {
    const PanelButton button{"button", "Button"};
    std::vector<PanelPill> pills;
    PanelContent content;
    for (const std::string& word : allLetters()) {
        pills.push_back({.value = word, .label = word, .detail = word});
        content.title += word;
        content.status += word + " ";
        content.statistics += word;
    }
    content.streamButton = button;
    content.rows = {
        {.id = "segments", .title = "Segments", .style = PanelRow::Style::segments, .pills = pills},
        {.id = "pills", .title = "Pills", .pills = pills, .button = button},
        {.id = "note", .title = "Note", .note = content.status}};
    content.switches = {{"switch", "Switch", true}};
    content.buttons = content.footer = {button};
    content.permissions = {{.label = "Permission", .granted = true, .text = "Granted", .button = button}};
    return content;
}

}  // namespace

void rehearsePanel() {
    PanelWindow window(PanelWindow::Kind::popover, {});
    window.setContent(everything());
    window.drawUnseen();
}

}  // namespace quillon
