#pragma once

#include <tillvane/export.h>
#include <tillvane/text/LStringFormat.h>

/// \file
/// Texts in URIs. Any thread.

/// Writes a text as it may stand in a URI: a-z, A-Z, 0-9 and - ! . _ ~ as they are, every other byte as `%` and two
/// upper-case hexadecimal digits. What does not fit is dropped, so that a full writer may end within an escape. No
/// terminator is written. A null text is empty. For LFixedLengthStringWriterTemplate<char>.
template <class W>
void LURIEncodeToWriterDirect(W& writer, const char* text);

/// \cond instantiations
extern template TILLVANE_API void LURIEncodeToWriterDirect(LFixedLengthStringWriterTemplate<char>&, const char*);
/// \endcond

/// Removes "key=value" from a query of such items between '&', in place: the first place where `key` and '=' stand,
/// also within a longer key, with the '&' before it if there is one, up to the next '&' or the end. Without its first
/// item a query begins with '&'. Of a key, with its '=', the first 261 characters count. A null key or query does
/// nothing.
TILLVANE_API void LRemoveHTTPItem(const char* key, char* query);
