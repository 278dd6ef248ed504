#include "platform/linux/shell/module.hpp"

#include <utility>

#include "platform/linux/shell/qt_shell.hpp"

quillon::ApplicationShell* quillonMakeApplicationShell(quillon::ShellHost host) {
    return new quillon::QtShell(std::move(host));
}
