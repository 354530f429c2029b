// Tasks that the library posts to TZMainQueue on behalf of one of its objects. A host that
// drains the queue late, or never, would otherwise keep every delivery of an object long
// after the object is gone, with the data it carries.
#pragma once

#include <cstddef>

#include "kestrune/TZMainQueue.h"

// Posts task like TZMainQueue::post, marked as owner's (any address that identifies it while
// it lives).
void TZMainQueuePostOwned(const void* owner, TZMainQueue::Task task);

// Takes back owner's tasks that still wait in the queue and frees them (outside the queue's
// lock, so a task's captures may do anything when they go). Tasks already handed to a
// dispatcher or running are not affected. Returns how many were dropped.
size_t TZMainQueueDropOwned(const void* owner);
