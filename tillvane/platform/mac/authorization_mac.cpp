#include <tillvane/platform/authorization.h>

#include <Security/Security.h>
#include <fcntl.h>
#include <sys/socket.h>

#include <cstdio>
#include <memory>

namespace platform {

namespace {

struct FreeAuthorization {
  void operator()(AuthorizationRef authorization) const {
    AuthorizationFree(authorization, kAuthorizationFlagDefaults);
  }
};
struct CloseStream {
  void operator()(std::FILE* stream) const { std::fclose(stream); }
};

}  // namespace

/// The tool may ask for the authorization it was started by, so that this lasts as long as its output is read.
struct SystemTool {
  std::unique_ptr<const AuthorizationOpaqueRef, FreeAuthorization> authorization;
  std::unique_ptr<std::FILE, CloseStream> pipe;
};

namespace {

OSStatus Create(SystemTool& tool) {
  AuthorizationRef authorization = nullptr;
  const OSStatus status =
      AuthorizationCreate(nullptr, kAuthorizationEmptyEnvironment, kAuthorizationFlagDefaults, &authorization);
  if (status == errAuthorizationSuccess) tool.authorization.reset(authorization);
  return status;
}

OSStatus AskForRight(const SystemTool& tool) {
  constexpr AuthorizationFlags kFlags =
      kAuthorizationFlagInteractionAllowed | kAuthorizationFlagExtendRights | kAuthorizationFlagPreAuthorize;
  AuthorizationItem item = {"system.privilege.admin", 0, nullptr, 0};
  const AuthorizationRights rights = {1, &item};
  return AuthorizationCopyRights(tool.authorization.get(), &rights, kAuthorizationEmptyEnvironment, kFlags, nullptr);
}

OSStatus Execute(SystemTool& tool, const char* path, char* const* arguments) {
  char* const none[] = {nullptr};
  std::FILE* pipe = nullptr;
#pragma clang diagnostic push
  // What is named instead is a service that has to be installed beforehand, and runs no tool that its caller names.
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
  const OSStatus status = AuthorizationExecuteWithPrivileges(tool.authorization.get(), path, kAuthorizationFlagDefaults,
                                                             arguments != nullptr ? arguments : none, &pipe);
#pragma clang diagnostic pop
  if (status == errAuthorizationSuccess) tool.pipe.reset(pipe);
  return status;
}

/// The pipe is the tool's standard input too: nothing is written there.
int PrepareOutput(std::FILE* pipe) {
  const int output = fileno(pipe);
  fcntl(output, F_SETFD, FD_CLOEXEC);
  shutdown(output, SHUT_WR);
  return output;
}

}  // namespace

Authorization StartPrivilegedTool(const char* tool, char* const* arguments, PrivilegedTool* started) {
  auto made = std::make_unique<SystemTool>();
  if (Create(*made) != errAuthorizationSuccess) return Authorization::kFailed;
  const OSStatus asked = AskForRight(*made);
  if (asked == errAuthorizationCanceled) return Authorization::kCancelled;
  if (asked != errAuthorizationSuccess) return Authorization::kFailed;
  if (Execute(*made, tool, arguments) != errAuthorizationSuccess || made->pipe == nullptr)
    return Authorization::kFailed;
  *started = {};
  started->output = PrepareOutput(made->pipe.get());
  started->system = made.release();
  return Authorization::kStarted;
}

// The system does not tell which process it has started, so that nobody is waited for.
void LeavePrivilegedTool(const PrivilegedTool& started, bool) {
  // The stream owns the output.
  const std::unique_ptr<SystemTool> owned(started.system);
}

}  // namespace platform
