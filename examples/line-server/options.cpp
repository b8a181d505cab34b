#include "options.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>

namespace line_server {

namespace {

constexpr const char* kHelp = R"(usage: line-server [--port N] [--timeout MS]
       line-server --connect HOST --port N [--timeout MS] LINE...

A server that answers each line with its number and the line, or a client that sends it lines.

  --port N          the port, 1 to 65535; a server without it takes one that is free
  --connect HOST    talk to a server instead
  --timeout MS      so many milliseconds without a word end a conversation, 1 to 1000000 (30000)
  --help            this text

Ctrl-C ends either; while the name of a host is looked up it waits for that.
Exit status: 0 every line was answered, 1 the server does not answer, 2 wrong use, 130 after Ctrl-C.
)";

std::nullopt_t Mistake(const std::string& text) {
  std::fprintf(stderr, "line-server: %s\nline-server --help lists what there is.\n", text.c_str());
  return std::nullopt;
}

template <class Number>
bool ReadNumber(const char* text, unsigned int most, Number* number) {
  const char* const end = text + std::strlen(text);
  const auto [rest, error] = std::from_chars(text, end, *number);
  return error == std::errc() && rest == end && *number >= 1 && *number <= most;
}

bool ReadValue(const std::string& flag, const char* value, Options* options) {
  if (flag == "--port") return ReadNumber(value, 65535, &options->port);
  if (flag == "--timeout") return ReadNumber(value, 1000000, &options->timeout);
  options->host = value;
  return !options->host.empty();
}

/// What does not go together. \return empty when all is well
std::string MistakeIn(const Options& options) {
  const bool is_client = !options.host.empty();
  if (is_client && options.port == 0) return "--connect needs --port";
  if (is_client && options.lines.empty()) return "--connect needs a line to send";
  for (const std::string& line : options.lines) {
    if (line.find('\n') != std::string::npos) return "a line has its end at its end only";
  }
  if (!is_client && !options.lines.empty()) return "'" + options.lines.front() + "' is not expected";
  return "";
}

}  // namespace

std::optional<Options> ReadCommandLine(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string flag = argv[i];
    if (flag == "--help" || flag == "-h") {
      std::fputs(kHelp, stdout);
      std::exit(0);
    }
    if (flag.rfind("--", 0) != 0) {
      options.lines.push_back(flag);
      continue;
    }
    if (flag != "--port" && flag != "--connect" && flag != "--timeout") return Mistake("'" + flag + "' is no option");
    if (++i == argc) return Mistake(flag + " needs a value");
    if (!ReadValue(flag, argv[i], &options)) return Mistake(flag + ": '" + argv[i] + "' is nothing that it takes");
  }
  const std::string mistake = MistakeIn(options);
  if (!mistake.empty()) return Mistake(mistake);
  return options;
}

}  // namespace line_server
