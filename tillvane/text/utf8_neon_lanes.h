#pragma once

#include <arm_neon.h>

#include <cstdint>

namespace text {

/// What any 64-bit ARM processor can do at once: see utf8_loops.h.
struct NeonLanes {
  static constexpr unsigned int kWindow = 16;

  static std::uint64_t Others(const unsigned char* from) {
    return Marks(IsOther(vld1q_u8(from)), IsOther(vld1q_u8(from + 16)), IsOther(vld1q_u8(from + 32)),
                 IsOther(vld1q_u8(from + 48)));
  }

  template <class Unit>
  static std::uint64_t NarrowBlock(const Unit* from, char* to) {
    uint8x16_t bytes[4];
    for (int i = 0; i < 4; ++i) {
      bytes[i] = Load16(from + 16 * i);
      vst1q_u8(Bytes(to + 16 * i), bytes[i]);
    }
    return Marks(IsOther(bytes[0]), IsOther(bytes[1]), IsOther(bytes[2]), IsOther(bytes[3]));
  }

  static void Widen(const unsigned char* from, unsigned short* to) {
    const uint8x16_t bytes = vld1q_u8(from);
    vst1q_u16(to, vmovl_u8(vget_low_u8(bytes)));
    vst1q_u16(to + 8, vmovl_high_u8(bytes));
  }

  static void Widen(const unsigned char* from, wchar_t* to) {
    const uint8x16_t bytes = vld1q_u8(from);
    const uint16x8_t low = vmovl_u8(vget_low_u8(bytes));
    const uint16x8_t high = vmovl_high_u8(bytes);
    StoreFour(vmovl_u16(vget_low_u16(low)), to);
    StoreFour(vmovl_high_u16(low), to + 4);
    StoreFour(vmovl_u16(vget_low_u16(high)), to + 8);
    StoreFour(vmovl_high_u16(high), to + 12);
  }

  template <class Unit>
  static void Narrow(const Unit* from, char* to) {
    vst1q_u8(Bytes(to), Load16(from));
  }

  template <class Unit>
  static bool DecodeThrees(const unsigned char* from, Unit* to) {
    // An index that is too large gives 0.
    const uint8x16_t spread = {0, 1, 2, 255, 3, 4, 5, 255, 6, 7, 8, 255, 9, 10, 11, 255};
    const uint32x4_t bytes = vreinterpretq_u32_u8(vqtbl1q_u8(vld1q_u8(from), spread));
    const uint32x4_t value = vorrq_u32(
        vorrq_u32(vandq_u32(vshlq_n_u32(bytes, 12), All(0xF000)), vandq_u32(vshrq_n_u32(bytes, 2), All(0xFC0))),
        vandq_u32(vshrq_n_u32(bytes, 16), All(0x3F)));
    const uint32x4_t has_marks = vceqq_u32(vandq_u32(bytes, All(0xC0C0F0)), All(0x8080E0));
    const uint32x4_t is_surrogate = vceqq_u32(vandq_u32(value, All(0xF800)), All(0xD800));
    const uint32x4_t is_legal = vbicq_u32(vcgtq_u32(value, All(0x7FF)), is_surrogate);
    if (!IsAll(vandq_u32(has_marks, is_legal))) return false;
    StoreFour(value, to);
    return true;
  }

  template <class Unit>
  static bool DecodeFours(const unsigned char* from, Unit* to) {
    const uint32x4_t bytes = vreinterpretq_u32_u8(vld1q_u8(from));
    const uint32x4_t value = vorrq_u32(
        vorrq_u32(vandq_u32(vshlq_n_u32(bytes, 18), All(0x1C0000)), vandq_u32(vshlq_n_u32(bytes, 4), All(0x3F000))),
        vorrq_u32(vandq_u32(vshrq_n_u32(bytes, 10), All(0xFC0)), vandq_u32(vshrq_n_u32(bytes, 24), All(0x3F))));
    const uint32x4_t has_marks = vceqq_u32(vandq_u32(bytes, All(0xC0C0C0F8)), All(0x808080F0));
    if (!IsAll(vandq_u32(has_marks, IsBetween(value, 0x10000, 0x10FFFF)))) return false;
    StoreFour(value, to);
    return true;
  }

  template <class Unit>
  static bool EncodeThrees(const Unit* from, char* to) {
    const uint32x4_t value = LoadFour(from);
    if (!IsAll(IsBetween(value, 0x800, 0xFFFF))) return false;
    const uint32x4_t bytes = vorrq_u32(vorrq_u32(vshrq_n_u32(value, 12), vandq_u32(vshlq_n_u32(value, 2), All(0x3F00))),
                                       vorrq_u32(vandq_u32(vshlq_n_u32(value, 16), All(0x3F0000)), All(0x8080E0)));
    const uint8x16_t close = {0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 255, 255, 255, 255};
    vst1q_u8(Bytes(to), vqtbl1q_u8(vreinterpretq_u8_u32(bytes), close));
    return true;
  }

  template <class Unit>
  static bool EncodeFours(const Unit* from, char* to) {
    const uint32x4_t value = LoadFour(from);
    if (!IsAll(IsBetween(value, 0x10000, 0x10FFFF))) return false;
    const uint32x4_t first = vorrq_u32(vshrq_n_u32(value, 18), vandq_u32(vshrq_n_u32(value, 4), All(0x3F00)));
    const uint32x4_t second =
        vorrq_u32(vandq_u32(vshlq_n_u32(value, 10), All(0x3F0000)), vandq_u32(vshlq_n_u32(value, 24), All(0x3F000000)));
    const uint32x4_t bytes = vorrq_u32(vorrq_u32(first, second), All(0x808080F0));
    vst1q_u8(Bytes(to), vreinterpretq_u8_u32(bytes));
    return true;
  }

  static constexpr unsigned int kVector = 16;

  static bool CountVectors(const unsigned char* at, unsigned long vectors, unsigned long* count) {
    const unsigned long all = vectors * kVector;
    // Only the highest bit of a byte says that something is wrong.
    uint8x16_t wrong = vdupq_n_u8(0), largest = wrong, others = wrong;
    for (; vectors > 0; --vectors, at += kVector) {
      const uint8x16_t bytes = vld1q_u8(at);
      const uint8x16_t must_continue = vorrq_u8(vorrq_u8(vqsubq_u8(vld1q_u8(at - 1), vdupq_n_u8(0xC0 - 0x80)),
                                                         vqsubq_u8(vld1q_u8(at - 2), vdupq_n_u8(0xE0 - 0x80))),
                                                vqsubq_u8(vld1q_u8(at - 3), vdupq_n_u8(0xF0 - 0x80)));
      const uint8x16_t continues = IsContinuation16(bytes);
      wrong = vorrq_u8(wrong, veorq_u8(must_continue, continues));
      largest = vmaxq_u8(largest, bytes);
      others = vsubq_u8(others, continues);
    }
    *count = all - vaddlvq_u8(others);
    // Sequences of five and six bytes are not counted here.
    return vmaxvq_u8(wrong) < 0x80 && vmaxvq_u8(largest) < 0xF8;
  }

  static std::uint64_t Continuations(const unsigned char* at) {
    const uint8x16_t none = vdupq_n_u8(0);
    return Marks(IsContinuation16(vld1q_u8(at)), none, none, none);
  }

 private:
  static std::uint8_t* Bytes(char* to) { return reinterpret_cast<std::uint8_t*>(to); }
  static uint32x4_t All(std::uint32_t value) { return vdupq_n_u32(value); }
  static bool IsAll(uint32x4_t truth) { return vminvq_u32(truth) != 0; }
  static uint8x16_t IsOther(uint8x16_t bytes) { return vcgeq_u8(bytes, vdupq_n_u8(0x80)); }
  static uint8x16_t IsContinuation16(uint8x16_t bytes) {
    return vcltq_s8(vreinterpretq_s8_u8(bytes), vdupq_n_s8(-0x40));
  }
  static uint32x4_t IsBetween(uint32x4_t value, std::uint32_t least, std::uint32_t most) {
    return vandq_u32(vcgeq_u32(value, All(least)), vcleq_u32(value, All(most)));
  }

  /// A bit for each byte of a block: those that are all ones, not those that are 0.
  static std::uint64_t Marks(uint8x16_t a, uint8x16_t b, uint8x16_t c, uint8x16_t d) {
    const uint8x16_t bits = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
    const uint8x16_t low = vpaddq_u8(vandq_u8(a, bits), vandq_u8(b, bits));
    const uint8x16_t high = vpaddq_u8(vandq_u8(c, bits), vandq_u8(d, bits));
    const uint8x16_t pairs = vpaddq_u8(low, high);
    return vgetq_lane_u64(vreinterpretq_u64_u8(vpaddq_u8(pairs, pairs)), 0);
  }

  /// Sixteen units as bytes; what does not fit becomes 0xFF.
  static uint8x16_t Load16(const unsigned short* from) {
    return vqmovn_high_u16(vqmovn_u16(vld1q_u16(from)), vld1q_u16(from + 8));
  }
  static uint8x16_t Load16(const wchar_t* from) {
    const uint16x8_t low = vqmovn_high_u32(vqmovn_u32(LoadFour(from)), LoadFour(from + 4));
    const uint16x8_t high = vqmovn_high_u32(vqmovn_u32(LoadFour(from + 8)), LoadFour(from + 12));
    return vqmovn_high_u16(vqmovn_u16(low), high);
  }

  static uint32x4_t LoadFour(const wchar_t* from) { return vld1q_u32(reinterpret_cast<const std::uint32_t*>(from)); }
  static uint32x4_t LoadFour(const unsigned short* from) { return vmovl_u16(vld1_u16(from)); }

  static void StoreFour(uint32x4_t values, wchar_t* to) { vst1q_u32(reinterpret_cast<std::uint32_t*>(to), values); }
  /// The low 16 bits of each.
  static void StoreFour(uint32x4_t values, unsigned short* to) { vst1_u16(to, vmovn_u32(values)); }
};

}  // namespace text
