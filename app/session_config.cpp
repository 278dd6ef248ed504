#include "app/session_config.hpp"

#include "base/text.hpp"

namespace quillon {

SessionConfig sessionConfig(const Options& options) {
    SessionConfig config;
    config.udid = options.udid;
    config.port = options.port;
    config.width = options.width;
    config.height = options.height;
    config.fps = options.fps;
    config.bitrate = options.bitrate;
    config.wifiBitrate = options.wifiBitrate;
    config.pace = options.pace;
    config.keyframeSeconds = options.keyframeSeconds;
    config.smoothness = options.smoothness;
    config.position = options.position;
    config.virtualWidth = options.virtualWidth;
    config.virtualHeight = options.virtualHeight;
    config.showCursor = options.showCursor;
    config.usePattern = options.pattern;
    config.duration = options.seconds;
    config.displayIndex = options.display;
    config.virtual_ = options.virtual_ && !options.tcp;
    config.mirror = options.mirror || options.tcp;
    config.transport = parseTransport(options.transport).value_or(Transport::usb);
    if (options.tcp) {
        const auto pieces = splitDroppingEmpty(*options.tcp, ':');
        const auto port = pieces.size() == 2 ? parsePort(pieces[1]) : std::nullopt;
        if (port) {
            config.tcpHost = std::string(pieces[0]);
            config.tcpPort = *port;
        }
    }
    return config;
}

}  // namespace quillon
