#include "platform/macos/settings_store.hpp"

#include "base/log.hpp"
#include "base/text.hpp"
#include "platform/macos/text.hpp"

namespace quillon {

namespace {

/// What a program of this kind can have stored, as the text that it reads as.
std::optional<std::string> textIn(id object) {
    if ([object isKindOfClass:NSString.class]) return plainText(object);
    if (![object isKindOfClass:NSNumber.class]) return std::nullopt;
    NSNumber* const number = object;
    const bool isTruth = CFGetTypeID((__bridge CFTypeRef)number) == CFBooleanGetTypeID();
    return isTruth ? trueOrFalse(number.boolValue) : plainText(number.stringValue);
}

id objectOf(const SettingsValue& value) {
    if (const auto* truth = std::get_if<bool>(&value)) return @(*truth);
    if (const auto* number = std::get_if<int64_t>(&value)) return @(*number);
    return systemText(std::get<std::string>(value));
}

}  // namespace

UserDefaultsSettings::UserDefaultsSettings() : defaults_(NSUserDefaults.standardUserDefaults) {}

UserDefaultsSettings::UserDefaultsSettings(const std::string& suite)
    : suite_(systemText(suite)), defaults_([[NSUserDefaults alloc] initWithSuiteName:suite_]) {}

bool UserDefaultsSettings::contains(const std::string& key) {
    return [defaults_ objectForKey:systemText(key)] != nil;
}

std::optional<std::string> UserDefaultsSettings::string(const std::string& key) {
    return textIn([defaults_ objectForKey:systemText(key)]);
}

std::optional<int64_t> UserDefaultsSettings::integer(const std::string& key) {
    return parseInteger(string(key).value_or(""));
}

std::optional<bool> UserDefaultsSettings::boolean(const std::string& key) {
    return parseBoolean(string(key).value_or(""));
}

void UserDefaultsSettings::write(const std::vector<SettingsChange>& changes) {
    NSMutableDictionary<NSString*, id>* const stored = [NSMutableDictionary new];
    NSMutableArray<NSString*>* const removed = [NSMutableArray new];
    for (const SettingsChange& change : changes) {
        NSString* const key = systemText(change.key);
        if (change.value) {
            stored[key] = objectOf(*change.value);
        } else {
            [removed addObject:key];
        }
    }
    // One call, so that the store never holds some of the changes only. It is what the defaults are made of.
    const CFStringRef application =
        suite_ != nil ? (__bridge CFStringRef)suite_ : kCFPreferencesCurrentApplication;
    CFPreferencesSetMultiple((__bridge CFDictionaryRef)stored, (__bridge CFArrayRef)removed, application,
                             kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
    if (CFPreferencesSynchronize(application, kCFPreferencesCurrentUser, kCFPreferencesAnyHost) == 0) {
        Log::write("settings: the system did not store a change");
    }
}

}  // namespace quillon
