#pragma once

#include <CoreServices/CoreServices.h>

typedef double EventTime;
typedef double EventTimeout;
typedef SInt16 EventPriority;
typedef UInt32 EventAttributes;
typedef UInt32 EventClass;
typedef UInt32 EventParamName;
typedef UInt32 EventParamType;

typedef struct OpaqueEventRef* EventRef;
typedef struct OpaqueEventLoopRef* EventLoopRef;
typedef struct OpaqueEventQueueRef* EventQueueRef;
typedef struct OpaqueEventHandlerRef* EventHandlerRef;
typedef struct OpaqueEventHandlerCallRef* EventHandlerCallRef;
typedef struct OpaqueEventTargetRef* EventTargetRef;

typedef struct EventTypeSpec {
  UInt32 eventClass;
  UInt32 eventKind;
} EventTypeSpec;

enum { eventNotHandledErr = -9874, eventLoopTimedOutErr = -9875, eventLoopQuitErr = -9876 };
enum { kEventPriorityLow = 0, kEventPriorityStandard = 1, kEventPriorityHigh = 2 };
enum { kEventAttributeNone = 0, kEventAttributeUserEvent = 1 };

typedef OSStatus (*EventHandlerProcPtr)(EventHandlerCallRef call, EventRef event, void* data);
typedef EventHandlerProcPtr EventHandlerUPP;
typedef Boolean (*EventComparatorProcPtr)(EventRef event, void* data);
typedef EventComparatorProcPtr EventComparatorUPP;

CF_EXTERN OSStatus CreateEvent(CFAllocatorRef allocator, UInt32 event_class, UInt32 kind, EventTime when,
                               EventAttributes attributes, EventRef* event);
CF_EXTERN EventRef RetainEvent(EventRef event);
CF_EXTERN void ReleaseEvent(EventRef event);
CF_EXTERN UInt32 GetEventClass(EventRef event);
CF_EXTERN UInt32 GetEventKind(EventRef event);
CF_EXTERN OSStatus SetEventParameter(EventRef event, EventParamName name, EventParamType type, ByteCount size,
                                     const void* data);
CF_EXTERN OSStatus GetEventParameter(EventRef event, EventParamName name, EventParamType wanted_type,
                                     EventParamType* actual_type, ByteCount room, ByteCount* actual_size, void* data);

CF_EXTERN EventLoopRef GetMainEventLoop(void);
CF_EXTERN CFTypeRef GetCFRunLoopFromEventLoop(EventLoopRef loop);
CF_EXTERN EventQueueRef GetMainEventQueue(void);
CF_EXTERN OSStatus PostEventToQueue(EventQueueRef queue, EventRef event, EventPriority priority);
CF_EXTERN OSStatus ReceiveNextEvent(ItemCount types, const EventTypeSpec* list, EventTimeout timeout, Boolean pull,
                                    EventRef* event);
CF_EXTERN ItemCount GetNumEventsInQueue(EventQueueRef queue);
CF_EXTERN Boolean IsEventInQueue(EventQueueRef queue, EventRef event);
CF_EXTERN OSStatus RemoveEventFromQueue(EventQueueRef queue, EventRef event);
CF_EXTERN OSStatus FlushSpecificEventsFromQueue(EventQueueRef queue, EventComparatorUPP comparator, void* data);

CF_EXTERN EventTargetRef GetEventDispatcherTarget(void);
CF_EXTERN OSStatus SendEventToEventTarget(EventRef event, EventTargetRef target);
CF_EXTERN OSStatus InstallEventHandler(EventTargetRef target, EventHandlerUPP handler, ItemCount types,
                                       const EventTypeSpec* list, void* data, EventHandlerRef* installed);
CF_EXTERN OSStatus RemoveEventHandler(EventHandlerRef handler);
