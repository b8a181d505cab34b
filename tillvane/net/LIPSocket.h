#pragma once

#include <tillvane/export.h>

/// \file
/// Who owns the descriptor of a TCP socket, and who only uses it.

/// Owns the descriptor of a TCP socket: -1 when there is none, closed when this goes away. Not synchronised.
class TILLVANE_API LIPSocketTCP {
 public:
  /// No socket.
  LIPSocketTCP() = default;
  /// Takes the descriptor over.
  explicit LIPSocketTCP(int descriptor) : descriptor_(descriptor) {}
  ~LIPSocketTCP() { Close(); }
  /// Takes the descriptor of `other` over, which has none afterwards.
  LIPSocketTCP(LIPSocketTCP&& other) noexcept : descriptor_(other.Release()) {}
  /// Closes what this held, and takes the descriptor of `other` over.
  LIPSocketTCP& operator=(LIPSocketTCP&& other) noexcept;
  LIPSocketTCP(const LIPSocketTCP&) = delete;
  LIPSocketTCP& operator=(const LIPSocketTCP&) = delete;

  /// The descriptor, which stays this object's; -1 for none.
  int Descriptor() const { return descriptor_; }

  /// Gives the descriptor away: it is -1 here afterwards and the caller's to close.
  int Release() noexcept;

  /// Closes the descriptor, if there is one.
  void Close() noexcept;

 private:
  int descriptor_ = -1;
};

/// A socket for the functions that send and receive. It copies the descriptor and closes nothing.
class TILLVANE_API LIPSocketTCPRef {
 public:
  /// The descriptor that `socket` has now; it outlives the use of this.
  LIPSocketTCPRef(const LIPSocketTCP& socket) : descriptor_(socket.Descriptor()) {}
  /// A descriptor of a TCP socket; -1 for none.
  explicit LIPSocketTCPRef(int descriptor) : descriptor_(descriptor) {}

  /// The owner's descriptor; -1 for none.
  int Descriptor() const { return descriptor_; }

 private:
  int descriptor_;
};
