#include "app/settings.hpp"

namespace quillon {

namespace {

constexpr int64_t kDefaultWidth = 1024;
constexpr int64_t kDefaultHeight = 768;

std::string keyFor(std::string_view what, LinkKind link) {
    return std::string(what) + (link == LinkKind::wifi ? ".wifi" : ".usb");
}

template <typename Choice>
std::string textOf(Choice choice) {
    return std::string(rawValue(choice));
}

std::optional<SettingsValue> optionalText(const std::optional<std::string>& text) {
    return text ? std::optional<SettingsValue>(*text) : std::nullopt;
}

}  // namespace

bool Settings::flag(const std::string& key, bool absent) const {
    return store_.boolean(key).value_or(absent);
}

Transport Settings::transport() const {
    return parseTransport(store_.string("transport").value_or("")).value_or(Transport::auto_);
}

void Settings::setTransport(Transport transport) {
    store_.setString("transport", textOf(transport));
}

StreamQuality Settings::quality(LinkKind link) const {
    const auto stored = parseStreamQuality(store_.string(keyFor("quality", link)).value_or(""));
    return stored.value_or(link == LinkKind::wifi ? StreamQuality::fast : StreamQuality::best);
}

void Settings::setQuality(LinkKind link, StreamQuality quality) {
    store_.setString(keyFor("quality", link), textOf(quality));
}

int64_t Settings::smoothness(LinkKind link) const {
    return store_.integer(keyFor("smooth", link)).value_or(link == LinkKind::wifi ? 3 : 0);
}

void Settings::setSmoothness(LinkKind link, int64_t frames) {
    store_.setInteger(keyFor("smooth", link), frames);
}

Scaling Settings::scaling() const {
    return parseScaling(store_.string("scaling").value_or("")).value_or(Scaling::fit);
}

bool Settings::scalingIsExplicit() const {
    return store_.contains("scaling");
}

void Settings::setScaling(Scaling scaling) {
    store_.setString("scaling", textOf(scaling));
}

std::string Settings::position() const {
    return store_.string("position").value_or("right");
}

void Settings::setPosition(const std::string& position) {
    store_.setString("position", position);
}

void Settings::setMirror(bool mirror) {
    store_.setBoolean("mirror", mirror);
}

int64_t Settings::resolutionWidth() const {
    const int64_t stored = store_.integer("resolutionWidth").value_or(0);
    return stored >= 1 ? stored : kDefaultWidth;
}

int64_t Settings::resolutionHeight() const {
    const int64_t stored = store_.integer("resolutionHeight").value_or(0);
    return stored >= 1 ? stored : kDefaultHeight;
}

std::optional<Settings::Resolution> Settings::resolution() const {
    const Resolution stored{store_.integer("resolutionWidth").value_or(0),
                            store_.integer("resolutionHeight").value_or(0)};
    if (stored.width < 1 || stored.height < 1) return std::nullopt;
    return stored;
}

void Settings::setResolution(int64_t width, int64_t height) {
    store_.write({{"resolutionWidth", width}, {"resolutionHeight", height}});
}

void Settings::setShowOverlay(bool show) {
    store_.setBoolean("showOverlay", show);
}

void Settings::setPreventSleep(bool prevent) {
    store_.setBoolean("preventSleep", prevent);
}

void Settings::setUsePopover(bool use) {
    store_.setBoolean("popoverUI", use);
}

bool Settings::hasAutoStart() const {
    return store_.contains("autoStart");
}

void Settings::setAutoStart(bool start) {
    store_.setBoolean("autoStart", start);
}

std::optional<std::string> Settings::wifiHost() const {
    return store_.string("wifiHost");
}

void Settings::setWifiHost(const std::string& host) {
    store_.setString("wifiHost", host);
}

Settings::Target Settings::target() const {
    return {store_.string("target.udid"), store_.string("target.host")};
}

void Settings::setTarget(const Target& target) {
    store_.write({{"target.udid", optionalText(target.udid)}, {"target.host", optionalText(target.host)}});
}

std::optional<std::string> Settings::modelOf(const std::string& udid) const {
    return store_.string("deviceModel." + udid);
}

SessionConfig sessionConfig(const Settings& settings, LinkKind link, bool usePattern) {
    SessionConfig config;
    config.position = settings.position();
    config.mirror = settings.mirror();
    config.transport = settings.transport();
    config.wifiHost = settings.wifiHost();
    config.qualityUSB = settings.quality(LinkKind::usb);
    config.qualityWiFi = settings.quality(LinkKind::wifi);
    config.smoothUSB = settings.smoothness(LinkKind::usb);
    config.smoothWiFi = settings.smoothness(LinkKind::wifi);
    const Settings::Target target = settings.target();
    config.targetUDID = target.udid;
    config.targetHost = target.host;
    config.quality = settings.quality(link);
    config.smoothness = settings.smoothness(link);
    config.showOverlay = settings.showOverlay();
    config.scalingExplicit = settings.scalingIsExplicit();
    config.scaling = settings.scaling();
    if (const auto resolution = settings.resolution()) {
        config.virtualWidth = resolution->width;
        config.virtualHeight = resolution->height;
    }
    config.stretchMirror = settings.stretchMirror();
    config.usePattern = usePattern;
    return config;
}

}  // namespace quillon
