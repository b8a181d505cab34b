#pragma once

#include <tillvane/export.h>
#include <tillvane/text/LStringLong.h>

/// \file
/// Whole text files, by path.
///
///     plain text          the bytes of the text: no terminator, no mark
///     UTF-16 with a mark  FF FE and 16-bit units with the low byte first; FE FF and the high byte first is only read
///     UTF-8 with a mark   EF BB BF and the text; only read
///
/// A loader holds a shared lock of the file and waits up to 1000 ms for it, a saver an exclusive one and waits up to
/// 500 ms. Then each goes on without: the locks order those who take them, and are `flock`'s. A loader reads once. When
/// a file shrinks meanwhile, or the read fails, the rest of its length is bytes of 0; so it is behind what the system
/// reads at once (2 GiB - 4096 bytes on Linux). A FIFO makes a loader wait for its other end.
///
/// Files are opened close-on-exec, and closed on every path. Where memory is needed std::bad_alloc may leave; a
/// loader's target is then what it was, unless UTF-16 was being converted into it. Any thread; a target is used by one
/// at a time.
///
/// Loaders answer 1 when the file opened, and 0, with errno, when not; the target is then what it was. A file whose
/// length the system does not tell, or of 4 GiB and more, is loaded as an empty one; one byte less is more than a text
/// can hold, and std::bad_alloc leaves the loaders of plain text.

/// Loads the bytes as they are, marks too. Bytes of 0 are part of the text.
TILLVANE_API int LLoadText(const char* path, LStringLongTemplate<char>& text);

/// Loads UTF-16, in the order that the mark says; without one the low byte comes first. Half a unit at the end is
/// dropped. **The text's length is 0 afterwards**: take the result as a C string, and do not append.
TILLVANE_API int LLoadTextUnicode(const char* path, LStringLongTemplate<char>& text);

/// The same, always with the low byte first: a mark is a character.
TILLVANE_API int LLoadTextAsUTF16(const char* path, LStringLongTemplate<char>& text);

/// Loads UTF-16 or UTF-8 where a mark says so, and other bytes as they are.
///
/// Of UTF-16 **the length is 0 afterwards**, as after LLoadTextUnicode(); half a unit at the end gets a byte of 0.
/// UTF-8 behind a mark ends at its first byte of 0. All else is as LLoadText() loads it.
TILLVANE_API int LLoadTextAutoChar(const char* path, LStringLongTemplate<char>& text);

/// Replaces a file by a text, or makes it, and marks it as UTF-8: LFile::SetFileAttributeTextEncodingUTF8(). Of a C
/// string all before the terminator; null is an empty text. It writes as much as there is room for.
/// \return what marking it answers: 0, or -1 with errno. That says little about the text: a file system without
///   attributes gives -1 to a text that is saved, and a full one may give 0 to a part
TILLVANE_API int LSaveText(const char* path, const LStringLongTemplate<char>& text);
/// The same for a C string.
TILLVANE_API int LSaveText(const char* path, const char* text);

/// The same, behind what the file has.
TILLVANE_API int LSaveAppendText(const char* path, const LStringLongTemplate<char>& text);
/// The same for a C string.
TILLVANE_API int LSaveAppendText(const char* path, const char* text);

/// Replaces a file by a text as UTF-16 with a mark, as LCopyUnicodeFromUTF8() converts it; the file is not marked as
/// UTF-8. Without memory the file is what it was.
/// \return what `close` answers: 0, or -1 with errno; -1 when the file did not open
TILLVANE_API int LSaveTextAsUnicodeBOM(const char* path, const LStringLongTemplate<char>& text);
