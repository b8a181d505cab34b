#pragma once

#include <glib.h>

#include <functional>
#include <utility>

namespace storefront {

/// Runs a function once on the main loop after `ms`.
class OnLoop {
 public:
  OnLoop(unsigned int ms, std::function<void()> function) : function_(std::move(function)) {
    source_ = g_timeout_add(ms, Call, this);
  }
  ~OnLoop() {
    if (source_ != 0) g_source_remove(source_);
  }
  OnLoop(const OnLoop&) = delete;
  OnLoop& operator=(const OnLoop&) = delete;

 private:
  static gboolean Call(gpointer self) {
    OnLoop& call = *static_cast<OnLoop*>(self);
    call.source_ = 0;
    call.function_();
    return G_SOURCE_REMOVE;
  }

  std::function<void()> function_;
  guint source_;
};

}  // namespace storefront
