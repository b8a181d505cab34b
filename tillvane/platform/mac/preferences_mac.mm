#include <tillvane/platform/preferences.h>

#include <cstddef>

#include <tillvane/platform/mac/autorelease_pool_mac.h>
#include <tillvane/platform/mac/foundation_text_mac.h>

// Each function has a pool of its own: any thread may call, and those of C++ programs have none.

namespace platform {

namespace {

NSUserDefaults* Defaults() { return [NSUserDefaults standardUserDefaults]; }

/// What is no UTF-8 is an empty text.
NSString* NativeText(const std::string& text) {
  NSString* const native = FoundationText(text);
  return native != nil ? native : @"";
}

/// nil when there is none, or when it is of another kind.
id ValueOfKind(Class kind, const char* key) {
  id const value = [Defaults() objectForKey:NativeText(key)];
  return [value isKindOfClass:kind] ? value : nil;
}

void SetValue(id value, const char* key) { [Defaults() setObject:value forKey:NativeText(key)]; }

}  // namespace

// The user defaults do not tell: what cannot be read is as what is not there.
bool ArePreferencesReadable() { return true; }

bool HasPreference(const char* key) {
  const AutoreleasePool pool;
  return [Defaults() objectForKey:NativeText(key)] != nil;
}

std::optional<std::string> PreferenceText(const char* key) {
  const AutoreleasePool pool;
  NSString* const value = ValueOfKind([NSString class], key);
  if (value == nil) return {};
  return PlainText(value);
}

std::optional<std::vector<std::string>> PreferenceTexts(const char* key) {
  const AutoreleasePool pool;
  NSArray* const value = ValueOfKind([NSArray class], key);
  if (value == nil) return {};
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < [value count]; ++i) {
    if (![[value objectAtIndex:i] isKindOfClass:[NSString class]]) return {};
    texts.push_back(PlainText([value objectAtIndex:i]));
  }
  return texts;
}

std::optional<std::vector<unsigned char>> PreferenceData(const char* key) {
  const AutoreleasePool pool;
  NSData* const value = ValueOfKind([NSData class], key);
  if (value == nil) return {};
  std::vector<unsigned char> data([value length]);
  [value getBytes:data.data() length:data.size()];
  return data;
}

void SetPreferenceText(const char* key, const std::string& text) {
  const AutoreleasePool pool;
  SetValue(NativeText(text), key);
}

void SetPreferenceTexts(const char* key, const std::vector<std::string>& texts) {
  const AutoreleasePool pool;
  NSMutableArray* const value = [NSMutableArray arrayWithCapacity:texts.size()];
  for (const std::string& text : texts) [value addObject:NativeText(text)];
  SetValue(value, key);
}

void SetPreferenceData(const char* key, const std::vector<unsigned char>& data) {
  const AutoreleasePool pool;
  SetValue([NSData dataWithBytes:data.data() length:data.size()], key);
}

void RemovePreference(const char* key) {
  const AutoreleasePool pool;
  [Defaults() removeObjectForKey:NativeText(key)];
}

bool SynchronizePreferences() {
  const AutoreleasePool pool;
  return [Defaults() synchronize] != NO;
}

}  // namespace platform
