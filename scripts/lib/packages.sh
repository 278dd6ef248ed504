# The Debian 12 packages of this project, by purpose. Sourced by the other scripts:
#
#     . scripts/lib/packages.sh
#     install_packages build run

declare -A QUILLON_PACKAGES=(
    # Compiling everything in the tree. The tests' libraries belong here because one configuration holds them
    # too.
    [build]="g++ cmake ninja-build pkg-config ccache
        libusbmuxd-dev
        libxcb1-dev libxcb-shm0-dev libxcb-damage0-dev libxcb-randr0-dev libxcb-xfixes0-dev
        libxcb-xinput-dev libxcb-xtest0-dev libxcb-ewmh-dev
        libx264-dev libyuv-dev libcairo2-dev libpango1.0-dev libglib2.0-dev
        libavahi-client-dev libxcb-screensaver0-dev qt6-base-dev qt6-svg-dev
        libavcodec-dev libavutil-dev libsdl2-dev libpng-dev
        libgtest-dev libgmock-dev"

    # Running the programs: a font for the test pattern, and the X server that stands in where a
    # machine has no display.
    [run]="fonts-dejavu-core xserver-xorg-core xserver-xorg-video-dummy x11-xserver-utils"

    # The desktop that the demo puts on such a server: a window manager and terminals.
    [desktop]="xserver-xorg-core xserver-xorg-video-dummy x11-xserver-utils x11-utils
        openbox xterm xdotool procps fonts-dejavu-core"

    # The service discovery that stands in where a machine has none.
    [discovery]="avahi-daemon dbus-daemon dbus-bin iproute2"

    # The tests' own tools, and Clang for the checks that GCC does not have.
    [test]="xserver-xorg-core xserver-xorg-video-dummy x11-xserver-utils x11-utils openbox trayer xdotool iproute2
        avahi-daemon dbus-daemon
        weston xwayland fonts-dejavu-core clang-16 clang-format"

    # The programs that the benchmarks compare with, what shapes the link, and a desktop for the tray application.
    [bench]="ffmpeg gstreamer1.0-tools gstreamer1.0-plugins-base gstreamer1.0-plugins-good
        gstreamer1.0-plugins-ugly gstreamer1.0-x xserver-xorg-core xserver-xorg-video-dummy
        x11-xserver-utils iproute2 openbox trayer xdotool python3"

    # Making the Debian package, and looking at it.
    [package]="dpkg-dev file desktop-file-utils"

    # Pictures of the tray application.
    [screenshots]="xserver-xorg-core xserver-xorg-video-dummy x11-xserver-utils x11-utils xdotool
        openbox trayer dbus-daemon maim fonts-dejavu-core"

    # Looking for slips.
    [tidy]="clang-16 clang-tidy-16"

    [fuzz]="clang-16 libclang-rt-16-dev"

    # Type-checking for the Mac. Clang 16 knows less of today's Objective-C++, and Clang 14 none of its C++
    # library.
    [macos]="clang-19 libc++-19-dev gcc libc6-dev python3 git libusbmuxd-dev libgtest-dev libgmock-dev"
)

# install_packages PURPOSE...: installs what is missing; asks nothing. Leaves apt alone when
# everything is there already.
install_packages() {
    local purpose package missing=()
    for purpose in "$@"; do
        for package in ${QUILLON_PACKAGES[$purpose]:?no packages are listed for this purpose}; do
            [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] ||
                missing+=("$package")
        done
    done
    [ ${#missing[@]} -gt 0 ] || return 0

    local apt=(env DEBIAN_FRONTEND=noninteractive apt-get -y -q)
    if [ "$(id -u)" != 0 ]; then
        command -v sudo >/dev/null || {
            echo "$0: these packages are missing, and installing them takes root or sudo: ${missing[*]}" >&2
            return 1
        }
        apt=(sudo "${apt[@]}")
    fi
    echo "Installing ${missing[*]}"
    # Package lists that are absent or out of date make the first try fail.
    "${apt[@]}" install --no-install-recommends "${missing[@]}" ||
        { "${apt[@]}" update && "${apt[@]}" install --no-install-recommends "${missing[@]}"; }
}
