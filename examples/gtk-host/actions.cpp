#include "actions.h"

namespace gtk_host {

void Actions::Add(const char* name, Callback callback, gpointer self) {
  GSimpleAction* action = g_simple_action_new(name, nullptr);
  g_signal_connect(action, "activate", G_CALLBACK(callback), self);
  g_action_map_add_action(map_, G_ACTION(action));
  g_object_unref(action);
}

void Actions::AddValue(const char* name, GVariant* value) {
  GSimpleAction* action = g_simple_action_new_stateful(name, nullptr, value);
  g_action_map_add_action(map_, G_ACTION(action));
  g_object_unref(action);
}

void Actions::Enable(const char* name, bool enabled) { g_simple_action_set_enabled(Find(name), enabled); }

void Actions::SetValue(const char* name, GVariant* value) { g_simple_action_set_state(Find(name), value); }

GSimpleAction* Actions::Find(const char* name) const { return G_SIMPLE_ACTION(g_action_map_lookup_action(map_, name)); }

}  // namespace gtk_host
