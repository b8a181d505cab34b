#pragma once

#include <tillvane/export.h>

/// Owns the descriptor of a TCP socket: -1 when there is none, closed when this goes away. Not synchronised.
class TILLVANE_API LIPSocketTCP {
 public:
  LIPSocketTCP() = default;
  /// Takes the descriptor over.
  explicit LIPSocketTCP(int descriptor) : descriptor_(descriptor) {}
  ~LIPSocketTCP() { Close(); }
  LIPSocketTCP(LIPSocketTCP&& other) noexcept : descriptor_(other.Release()) {}
  /// Closes what this held.
  LIPSocketTCP& operator=(LIPSocketTCP&& other) noexcept;
  LIPSocketTCP(const LIPSocketTCP&) = delete;
  LIPSocketTCP& operator=(const LIPSocketTCP&) = delete;

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
  LIPSocketTCPRef(const LIPSocketTCP& socket) : descriptor_(socket.Descriptor()) {}
  explicit LIPSocketTCPRef(int descriptor) : descriptor_(descriptor) {}

  int Descriptor() const { return descriptor_; }

 private:
  int descriptor_;
};
