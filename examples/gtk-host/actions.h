#pragma once

#include <gio/gio.h>

namespace gtk_host {

/// The application's actions: what its buttons do, and what others may ask of it on the session bus, where GApplication
/// offers them as org.gtk.Actions. Values that may be read there are actions with a state.
class Actions {
 public:
  using Callback = void (*)(GSimpleAction*, GVariant*, gpointer self);

  explicit Actions(GActionMap* map) : map_(map) {}

  /// Something that can be done from now on. \param self goes to the call-back
  void Add(const char* name, Callback callback, gpointer self);
  /// Something that can be read. \param value floating
  void AddValue(const char* name, GVariant* value);

  /// A button of an action that is not enabled is grey.
  void Enable(const char* name, bool enabled);
  void SetValue(const char* name, GVariant* value);

 private:
  GSimpleAction* Find(const char* name) const;

  GActionMap* map_;
};

}  // namespace gtk_host
