// The printf engine. Its grammar:
//
//   format      = { literal | conversion }
//   literal     = any character but '%'; it stands for itself
//   conversion  = '%' { digit | '.' } letter
//   letter      = any character but a digit, a '.' or the terminator
//
//   letter            takes       writes
//   s                 a text      all of it, whatever the digits say; nothing when it is null
//   %                 nothing     '%'
//   e f g             a double    as the C library, digits included
//   p                 a pointer   as the C library, digits included
//   d i u x X o c     an int      as the C library, digits included
//   D U O             an int      as d u o
//   C                 an int      as the C library: a wide character in the locale's character set
//   E F G a A S n     an int      nothing
//   - + space # ' * $ an int      nothing: no flags, no '*', and what follows is literal text
//   h l L q j z t     an int      nothing: no lengths, and what follows is literal text
//   any other         an int      itself, as c would
//
// The first 257 digits and points of a conversion count, further ones are read and dropped. A format that ends inside a
// conversion ends there.

#include <cstdarg>
#include <cstddef>
#include <cstring>

#include <tillvane/text/LStringFormat.h>
#include <tillvane/text/copy_short.h>
#include <tillvane/text/format_conversion.h>
#include <tillvane/text/format_double.h>
#include <tillvane/text/format_integer.h>

using text::AskLibrary;
using text::FormatConversion;
using text::FormatDouble;
using text::FormattedInteger;
using text::kFormatScratchSize;

namespace {

// Where the engine writes: room in the target, without a call for each piece. Commit() tells the target how far it
// came.

/// The rest of a buffer of the caller's. What does not fit is dropped.
class FixedOutput {
 public:
  explicit FixedOutput(LFixedLengthStringWriterTemplate<char>& writer)
      : writer_(writer),
        next_(writer.buffer + writer.length),
        end_(writer.length < writer.capacity ? writer.buffer + writer.capacity : next_) {}

  void Write(const char* text, std::size_t count) {
    const auto room = static_cast<std::size_t>(end_ - next_);
    const std::size_t kept = count < room ? count : room;
    text::CopyShort(next_, text, kept);
    next_ += kept;
  }
  // For whoever writes at once where it belongs.
  bool HasRoom(std::size_t count) const { return count <= static_cast<std::size_t>(end_ - next_); }
  char* Next() const { return next_; }
  void Advance(std::size_t count) { next_ += count; }
  unsigned int Commit() { return writer_.length = static_cast<unsigned int>(next_ - writer_.buffer); }

 private:
  LFixedLengthStringWriterTemplate<char>& writer_;
  char* next_;
  char* end_;
};

/// The rest of a growable text's buffer, and what the text grows to.
class GrowingOutput {
 public:
  explicit GrowingOutput(LStringLongTemplateAppender<char>& appender) : appender_(appender) { FindRoom(); }

  void Write(const char* text, std::size_t count) {
    if (HasRoom(count)) {
      text::CopyShort(next_, text, count);
      next_ += count;
    } else {
      Commit();
      appender_.Write(text, count);
      FindRoom();
    }
  }
  bool HasRoom(std::size_t count) const { return count <= static_cast<std::size_t>(end_ - next_); }
  char* Next() const { return next_; }
  void Advance(std::size_t count) { next_ += count; }
  unsigned int Commit() {
    LStringLong& target = appender_.Text();
    target.SetLength(static_cast<unsigned long>(next_ - target.data()));
    return target.size();
  }

 private:
  void FindRoom() {
    LStringLong& target = appender_.Text();
    if (target.data() == nullptr) target.GrowToSize(LStringLong::kFormattedSize);
    next_ = target.data() + target.size();
    end_ = target.data() + target.capacity() - 1;
  }

  LStringLongTemplateAppender<char>& appender_;
  char* next_;
  char* end_;
};

FixedOutput OutputOf(LFixedLengthStringWriterTemplate<char>& writer) { return FixedOutput(writer); }
GrowingOutput OutputOf(LStringLongTemplateAppender<char>& writer) { return GrowingOutput(writer); }

/// Writes the literal text that begins here. \return its end: a '%' or the terminator
template <class Output>
const char* WriteLiteral(Output& output, const char* format) {
  // Most are short: then looking for the end first costs more than the copy.
  constexpr std::size_t usual = 16;
  if (output.HasRoom(usual)) {
    char* const to = output.Next();
    for (std::size_t i = 0; i < usual; ++i) {
      if (format[i] == '%' || format[i] == 0) {
        output.Advance(i);
        return format + i;
      }
      to[i] = format[i];
    }
  }
  const std::size_t length = std::strcspn(format, "%");
  output.Write(format, length);
  return format + length;
}

/// Letters that the C library has another argument for, or that are flags or lengths there.
bool WritesNothing(char letter) { return std::strchr("EFGAaSn-+ #'*$hlLqjzt", letter) != nullptr; }

std::string_view FormatCharacter(const FormatConversion& conversion, char c, char* scratch) {
  if (!conversion.digits.empty()) return AskLibrary(conversion, 'c', static_cast<int>(c), scratch);
  scratch[0] = c;
  // It is written like a text, of which a 0 is the end.
  return {scratch, c != 0 ? 1u : 0u};
}

/// Whatever takes an int and is no plain number.
std::string_view FormatOther(const FormatConversion& conversion, int value, char* scratch) {
  switch (const char letter = conversion.letter) {
    case 'c':
      return FormatCharacter(conversion, static_cast<char>(value), scratch);
    case 'D':
      return AskLibrary(conversion, 'd', value, scratch);
    case 'U':
      return AskLibrary(conversion, 'u', value, scratch);
    case 'O':
      return AskLibrary(conversion, 'o', value, scratch);
    case 'd':
    case 'i':
    case 'u':
    case 'o':
    case 'x':
    case 'X':
    case 'C':
      return AskLibrary(conversion, letter, value, scratch);
    default:
      return WritesNothing(letter) ? std::string_view() : FormatCharacter(conversion, letter, scratch);
  }
}

template <class Output>
void WriteInt(Output& output, const FormatConversion& conversion, int value, char* scratch) {
  if (conversion.letter == 'd' && conversion.digits.empty() && output.HasRoom(text::kLongestDecimalInt)) {
    output.Advance(static_cast<std::size_t>(text::WriteDecimalInt(output.Next(), value) - output.Next()));
    return;
  }
  const FormattedInteger integer(conversion, value);
  if (!integer.IsOne()) {
    const std::string_view other = FormatOther(conversion, value, scratch);
    output.Write(other.data(), other.size());
  } else if (output.HasRoom(integer.Length())) {
    integer.WriteTo(output.Next());
    output.Advance(integer.Length());
  } else {
    integer.WriteTo(scratch);
    output.Write(scratch, integer.Length());
  }
}

}  // namespace

template <class W, class C>
void tplstrcpy(W& writer, const C* text) {
  if (*text == 0) return;
  auto output = OutputOf(writer);
  output.Write(text, std::strlen(text));
  output.Commit();
}

template <class W, class C>
unsigned long tplprintf(W& writer, const C* format, va_list arguments) {
  if (format == nullptr) return 0;
  auto output = OutputOf(writer);
  char scratch[kFormatScratchSize];
  while (true) {
    const char* const literal_end = WriteLiteral(output, format);
    if (*literal_end == 0) return output.Commit();
    FormatConversion conversion;
    format = conversion.Read(literal_end + 1);
    std::string_view converted;
    switch (conversion.letter) {
      case 0:
        continue;
      case '%':
        converted = "%";
        break;
      case 's':
        if (const char* const text = va_arg(arguments, const char*)) output.Write(text, std::strlen(text));
        continue;
      case 'e':
      case 'f':
      case 'g':
        converted = FormatDouble(conversion, va_arg(arguments, double), scratch);
        break;
      case 'p':
        converted = AskLibrary(conversion, 'p', va_arg(arguments, const void*), scratch);
        break;
      default:
        WriteInt(output, conversion, va_arg(arguments, int), scratch);
        continue;
    }
    output.Write(converted.data(), converted.size());
  }
}

template void tplstrcpy(LFixedLengthStringWriterTemplate<char>&, const char*);
template void tplstrcpy(LStringLongTemplateAppender<char>&, const char*);
template void tplstrcpy(LStringLongTemplateWriter<char>&, const char*);
template unsigned long tplprintf(LFixedLengthStringWriterTemplate<char>&, const char*, va_list);
template unsigned long tplprintf(LStringLongTemplateAppender<char>&, const char*, va_list);
template unsigned long tplprintf(LStringLongTemplateWriter<char>&, const char*, va_list);
