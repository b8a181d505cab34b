#pragma once

#include <tillvane/export.h>
#include <tillvane/platform/native_types.h>

/// \file
/// The running application's bundle, as the system knows it.

/// The bundle of the application that runs. It owns nothing. Any thread.
class TILLVANE_API LCFBundle {
 public:
  /// The bundle of the running application, whatever it is; that one is none of its own.
  LCFBundle();

  /// The bundle's version, out of the text "CFBundleVersion" of its Info.plist, of which 259 bytes count. In a text
  /// that begins with 'V' it stands behind the first space: 'Version 2.14' is 2 and 14. The number before the first '.'
  /// is the major one, the number behind it the minor one: 2 and 14 in '2.14.3' too, 3 and 0 in '3'. What is no number
  /// is 0, and so is what stands in a text with 'V' but without a space. A number beyond what an int holds is the
  /// nearest that it holds.
  /// \return false, and the numbers as they were, when there is no such text or it is empty
  bool GetVersionNumber(int& major, int& minor) const;

  /// The system's own reference, which nobody releases.
  CFBundleRef Get() const { return bundle_; }

 private:
  CFBundleRef bundle_;
};

static_assert(sizeof(LCFBundle) == sizeof(void*));
