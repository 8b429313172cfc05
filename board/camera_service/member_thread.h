// A thread that runs a member function of the object that owns it.
#pragma once

#include <pthread.h>

#include <system_error>

#include "base/thread.h"

namespace camera_service {

// Starts a thread that runs `object->*body` once; who owns the object joins it. Throws
// std::system_error with the name when no thread can be started.
template <auto body, typename Object>
pthread_t start_member_thread(Object* object, const char* name) {
  pthread_t thread{};
  const int error = base::start_thread(
      [](void* self) -> void* {
        (static_cast<Object*>(self)->*body)();
        return nullptr;
      },
      object, &thread);
  if (error != 0) throw std::system_error(error, std::generic_category(), name);
  return thread;
}

}  // namespace camera_service
