# Every portable file of the library, by name. One system's files are in platform_linux.cmake and platform_mac.cmake.

set(TILLVANE_PUBLIC_HEADERS
  tillvane/tillvane.h
  tillvane/export.h
  tillvane/core/LEventQueue.h
  tillvane/core/LProcessEventsHandler.h
  tillvane/core/LProcessInterface.h
  tillvane/core/LSignalObject.h
  tillvane/platform/native_types.h
  tillvane/store/TillvaneStore.h
)

set(TILLVANE_SOURCES
  tillvane/core/event_queue.cpp
  tillvane/core/poll_for.cpp
  tillvane/core/process_events_handler.cpp
  tillvane/core/process_interface.cpp
  tillvane/core/signal_object.cpp
  tillvane/store/store_observer.cpp
  tillvane/store/store_request_delegate.cpp
  tillvane/store/tillvane_manager.cpp
  tillvane/store/tillvane_store.cpp
)

# A unit test stands beside its source.
set(TILLVANE_TEST_SOURCES
  tillvane/core/event_queue_test.cpp
  tillvane/core/process_events_handler_test.cpp
  tillvane/core/process_events_queue_test.cpp
  tillvane/core/process_interface_test.cpp
  tillvane/core/signal_object_group_test.cpp
  tillvane/core/signal_object_test.cpp
  tillvane/store/store_bridge_test.cpp
  tillvane/store/store_model_test.cpp
  tillvane/store/store_observer_test.cpp
  tillvane/store/store_request_delegate_test.cpp
  tillvane/store/store_scenarios.cpp
)
