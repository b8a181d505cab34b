#pragma once

namespace core {

/// Four characters in 32 bits, the first one most significant.
constexpr unsigned int FourCharacterCode(const char (&text)[5]) {
  unsigned int code = 0;
  for (int i = 0; i < 4; ++i) code = code << 8 | static_cast<unsigned char>(text[i]);
  return code;
}

/// Posted when a watched signal object becomes readable, only to wake whoever receives events.
inline constexpr unsigned int kWakeUpClass = FourCharacterCode("LSnc");
inline constexpr unsigned int kWakeUpKind = FourCharacterCode("LSnk");
/// Its parameter: the descriptor, 4 bytes.
inline constexpr unsigned int kWakeUpDescriptor = FourCharacterCode("LSso");
inline constexpr unsigned int kTypeLong = FourCharacterCode("long");

/// Carries work to the main thread.
inline constexpr unsigned int kDispatchClass = FourCharacterCode("LNot");
inline constexpr unsigned int kDispatchKind = FourCharacterCode("LNdk");
/// Its parameters, pointers of type 'void': whoever sent it, and what is to be run; the latter null when withdrawn.
inline constexpr unsigned int kDispatchSender = FourCharacterCode("LNth");
inline constexpr unsigned int kDispatchData = FourCharacterCode("LNda");
inline constexpr unsigned int kTypeVoid = FourCharacterCode("void");

/// Class and kind of the event that marks the end of what was queued before.
inline constexpr unsigned int kMarker = FourCharacterCode("Plac");

}  // namespace core
