# Every portable file of the library, by name. One system's files are in platform_linux.cmake and platform_mac.cmake.

set(TILLVANE_PUBLIC_HEADERS
  tillvane/tillvane.h
  tillvane/export.h
  tillvane/core/LDetachedThread.h
  tillvane/core/LEventQueue.h
  tillvane/core/LList.h
  tillvane/core/LFileLock.h
  tillvane/core/LProcessEventsHandler.h
  tillvane/core/LProcessInterface.h
  tillvane/core/LProcessRun.h
  tillvane/core/LSignalObject.h
  tillvane/core/LThread.h
  tillvane/platform/native_types.h
  tillvane/store/TillvaneStore.h
  tillvane/text/LStringLong.h
)

set(TILLVANE_SOURCES
  tillvane/core/detached_thread.cpp
  tillvane/core/event_queue.cpp
  tillvane/core/file_lock.cpp
  tillvane/core/poll_for.cpp
  tillvane/core/process_events_handler.cpp
  tillvane/core/process_interface.cpp
  tillvane/core/process_run.cpp
  tillvane/core/signal_object.cpp
  tillvane/core/thread.cpp
  tillvane/core/sleep_for.cpp
  tillvane/store/store_observer.cpp
  tillvane/store/store_request_delegate.cpp
  tillvane/store/tillvane_manager.cpp
  tillvane/store/tillvane_store.cpp
  tillvane/text/string_long.cpp
)

# A unit test stands beside its source.
set(TILLVANE_TEST_SOURCES
  tillvane/core/detached_thread_test.cpp
  tillvane/core/event_queue_test.cpp
  tillvane/core/list_test.cpp
  tillvane/core/file_lock_test.cpp
  tillvane/core/process_events_handler_test.cpp
  tillvane/core/process_events_queue_test.cpp
  tillvane/core/process_interface_test.cpp
  tillvane/core/process_run_test.cpp
  tillvane/core/signal_object_group_test.cpp
  tillvane/core/signal_object_test.cpp
  tillvane/core/thread_test.cpp
  tillvane/store/store_bridge_test.cpp
  tillvane/store/store_model_test.cpp
  tillvane/store/store_observer_test.cpp
  tillvane/store/store_request_delegate_test.cpp
  tillvane/store/store_scenarios.cpp
  tillvane/text/string_long_test.cpp
)
