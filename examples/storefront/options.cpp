#include "options.h"

#include <glib.h>
#include <tillvane/tillvane.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>

namespace storefront {

namespace {

constexpr const char* kExamples = R"(Words of a script:
  price buy restore     ask for the price, buy (the question is answered yes), restore
  buy-no                buy, and answer the question with no
  approve decline       decide the purchases that wait for somebody's approval
  pause:MS quit         let the loop run for so many milliseconds; end

Examples:
  storefront
      a session at the keyboard, with the catalogue that lies beside the program
  storefront --script 'price buy buy restore quit' --ledger /tmp/ledger
      the whole tour without a keyboard, leaving no purchase in your home folder
  storefront --locale de_DE --storefront DEU --script price
      the price as it is shown in Germany
  storefront --payments off --script 'price buy'
      what a user sees who may not make payments
  storefront --folder /media/backup --script price
      a folder outside your home, which later runs find again, even renamed

Exit status: 0 as it should, 1 something failed, 2 wrong use, 130 after Ctrl-C or SIGTERM.)";

/// One flag: where its value goes.
struct Flag {
  const char* name;
  const char* value_name;
  const char* help;
  const char* variable;  ///< of the store's environment; null where this program uses the value itself
  char* value = nullptr;

  Flag(const char* name, const char* value_name, const char* help, const char* variable)
      : name(name), value_name(value_name), help(help), variable(variable) {}
  ~Flag() { g_free(value); }
  Flag(const Flag&) = delete;
  Flag& operator=(const Flag&) = delete;

  // FILENAME takes the bytes as they stand, whatever the locale.
  GOptionEntry Entry() { return {name, 0, 0, G_OPTION_ARG_FILENAME, &value, help, value_name}; }
};

struct Flags {
  Flag catalogue{"catalogue", "FILE", "What the store sells: a .storekit file", "TILLVANE_STORE_CATALOG"};
  Flag ledger{"ledger", "FOLDER", "Where the store remembers who bought", "TILLVANE_STORE_LEDGER"};
  Flag locale{"locale", "LOCALE", "Show prices as in this locale, such as de_DE", "TILLVANE_STORE_LOCALE"};
  Flag country{"storefront", "ALPHA3", "Sell in this country, such as DEU", "TILLVANE_STORE_STOREFRONT"};
  Flag payments{"payments", "on|off", "May this user make payments?", nullptr};
  Flag base{"base", "ID", "Base identifier of the product (org.example.storefront)", nullptr};
  Flag folder{"folder", "FOLDER", "Remember this folder outside your home, in place of an earlier one", nullptr};
  Flag script{"script", "WORDS", "Do this instead of asking at the keyboard", nullptr};

  static constexpr Flag Flags::*kAll[] = {&Flags::catalogue, &Flags::ledger, &Flags::locale, &Flags::country,
                                          &Flags::payments,  &Flags::base,   &Flags::folder, &Flags::script};
};

std::nullopt_t Mistake(const std::string& text) {
  std::fprintf(stderr, "storefront: %s\nstorefront --help lists what there is.\n", text.c_str());
  return std::nullopt;
}

/// GLib's own --help would replace what the locale's character set lacks; here it is UTF-8, like the prices.
[[noreturn]] void ShowHelp(GOptionContext* context) {
  const std::unique_ptr<char, decltype(&g_free)> text(g_option_context_get_help(context, TRUE, nullptr), g_free);
  std::fputs(text.get(), stdout);
  std::exit(0);
}

/// \return an empty text, or what is wrong
std::string ParseFlags(Flags& flags, int argc, char** argv) {
  gboolean help = FALSE;
  std::vector<GOptionEntry> entries;
  for (const auto flag : Flags::kAll) entries.push_back((flags.*flag).Entry());
  entries.push_back({"help", 'h', 0, G_OPTION_ARG_NONE, &help, "Show this text", nullptr});
  entries.push_back({});
  const std::unique_ptr<GOptionContext, decltype(&g_option_context_free)> context(
      g_option_context_new("- a host that sells itself in a terminal"), g_option_context_free);
  g_option_context_add_main_entries(context.get(), entries.data(), nullptr);
  g_option_context_set_description(context.get(), kExamples);
  g_option_context_set_help_enabled(context.get(), FALSE);
  g_autoptr(GError) error = nullptr;
  if (g_option_context_parse(context.get(), &argc, &argv, &error) == FALSE) return error->message;
  if (help != FALSE) ShowHelp(context.get());
  // "--" alone is left in place.
  const int first = argc > 1 && std::strcmp(argv[1], "--") == 0 ? 2 : 1;
  if (argc > first) return std::string("'") + argv[first] + "' is not expected; a script of several words needs quotes";
  return {};
}

std::string CheckValues(const Flags& flags) {
  for (const auto member : Flags::kAll) {
    const Flag& flag = flags.*member;
    if (flag.value != nullptr && *flag.value == '\0') return std::string("--") + flag.name + ": the value is empty";
  }
  const char* payments = flags.payments.value;
  if (payments != nullptr && std::strcmp(payments, "on") != 0 && std::strcmp(payments, "off") != 0) {
    return std::string("--payments: 'on' or 'off', not '") + payments + "'";
  }
  return {};
}

/// A later run may begin elsewhere: the folder's name becomes an absolute one. A symbolic link on the way is kept.
/// \return an empty text, or what is wrong
std::string FindFolder(const char* named, std::string* folder) {
  std::error_code error;
  *folder = std::filesystem::absolute(named, error).lexically_normal().string();
  if (folder->size() > 1 && folder->ends_with('/')) folder->pop_back();
  if (!std::filesystem::is_directory(*folder, error)) return std::string("there is no folder '") + named + "'";
  return folder->size() < sizeof LSandboxBookmarkItem::path ? "" : "the path '" + *folder + "' is too long";
}

/// The local store reads its environment when it is first used. A variable without a flag is left as it is.
void HandToStore(const Flags& flags) {
  for (const auto member : Flags::kAll) {
    const Flag& flag = flags.*member;
    if (flag.variable != nullptr && flag.value != nullptr) g_setenv(flag.variable, flag.value, TRUE);
  }
  if (flags.payments.value == nullptr) return;
  g_setenv("TILLVANE_STORE_PAYMENTS", std::strcmp(flags.payments.value, "off") == 0 ? "0" : "1", TRUE);
}

}  // namespace

std::optional<Options> ReadCommandLine(int argc, char** argv) {
  Flags flags;
  if (const std::string wrong = ParseFlags(flags, argc, argv); !wrong.empty()) return Mistake(wrong);
  if (const std::string wrong = CheckValues(flags); !wrong.empty()) return Mistake(wrong);
  Options options;
  options.base = flags.base.value != nullptr ? flags.base.value : "org.example.storefront";
  if (flags.folder.value != nullptr) {
    if (const std::string wrong = FindFolder(flags.folder.value, &options.folder); !wrong.empty()) {
      return Mistake("--folder: " + wrong);
    }
  }
  if (flags.script.value != nullptr) {
    std::string wrong;
    if (!ParseScript(flags.script.value, &options.script.emplace(), &wrong)) return Mistake("--script: " + wrong);
  }
  HandToStore(flags);
  return options;
}

}  // namespace storefront
