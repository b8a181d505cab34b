#pragma once

#include <tillvane/core/LSignalObject.h>
#include <tillvane/export.h>

/// \file
/// How every long or blocking operation asks whether to stop, waits, and reports.

/// Through this every long or blocking operation learns whether to give up, waits without missing a stop request, and
/// reports errors, status text and progress. The caller implements it, owns it and passes it by reference.
///
/// It is used by the one thread that runs the operation; IsToStop() of a thread may be asked from any thread.
/// Waits are level-triggered: a signal object stays signalled until its owner resets it. Times are milliseconds, and
/// 0xFFFFFFFF means no limit in the two waits for signals. The order of the virtual functions is part of the binary
/// interface. There is no virtual destructor: nothing is destroyed through this type.
class TILLVANE_API LProcessInterface {
 public:
  /// Was a stop requested? Never blocks, never clears the request.
  virtual bool IsToStop() = 0;

  /// Pauses for `ms`. \return true when a stop request (or an interruption) ended it early, false when the time passed.
  virtual bool ProcessWait(unsigned int ms) = 0;

  /// Waits for one signal object.
  /// \return 0 signalled, 1 the owner was asked to stop, 2 the time ran out or the wait failed.
  virtual int ProcessWaitSignal(LSignalObjectRef signal, unsigned int ms) = 0;

  /// Waits for any member of a group, which an implementation may alter: rebuild it before the next wait.
  /// \return 0, 1 or 2 as ProcessWaitSignal.
  virtual int ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, unsigned int ms) = 0;

  /// Reports what went wrong. Of itself this does nothing, as all reports. A text is UTF-8 and valid during the call
  /// only; an implementation that keeps it copies it.
  virtual void SetError(const char* text);
  /// Reports what is being done.
  /// \param text as for SetError()
  /// \param value which of its texts it is, by the operation's own numbers: those of the toolkit use 0 for what they do
  ///   and 1 for what they do it to
  virtual void SetStatus(const char* text, int value);
  /// Reports how far it is: `fraction` runs from 0 to 1.
  virtual void SetProgress(double fraction);
  /// Reports that nobody knows how far it is, until SetProgressIndeterminateOff().
  virtual void SetProgressIndeterminateOn();
  /// Reports that the progress is known again.
  virtual void SetProgressIndeterminateOff();

  /// SetError with a text formatted as by the C library's printf, cut to 8191 bytes.
  void SetErrorF(const char* format, ...) __attribute__((format(printf, 2, 3)));

  /// SetStatus with a text formatted as by the C library's printf, cut to 8191 bytes. The value comes first here.
  void SetStatusF(int value, const char* format, ...) __attribute__((format(printf, 3, 4)));
};

/// For callers that have neither a thread nor a user interface: never stops, reports nothing, really waits.
class TILLVANE_API LProcessInterfaceVoid : public LProcessInterface {
 public:
  /// Always false.
  bool IsToStop() override;
  /// Sleeps the whole time, through interruptions; 0xFFFFFFFF is a time like any other. Always false.
  bool ProcessWait(unsigned int ms) override;
  /// 0 signalled or interrupted, 2 otherwise.
  int ProcessWaitSignal(LSignalObjectRef signal, unsigned int ms) override;
  /// 0 a member is ready, 2 otherwise, an interruption included. The group is not altered.
  int ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, unsigned int ms) override;
};
