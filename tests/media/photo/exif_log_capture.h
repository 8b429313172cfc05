// A libexif log that keeps its messages.
#pragma once

#include <libexif/exif-log.h>

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

namespace media_test {

class ExifLogCapture {
 public:
  ExifLogCapture() : log_(exif_log_new()) { exif_log_set_func(log_, keep, this); }
  ~ExifLogCapture() { exif_log_unref(log_); }
  ExifLogCapture(const ExifLogCapture&) = delete;
  ExifLogCapture& operator=(const ExifLogCapture&) = delete;

  [[nodiscard]] ExifLog* log() const { return log_; }
  // "domain code message", code 2 for lack of memory, 3 for corrupt data.
  [[nodiscard]] const std::vector<std::string>& messages() const { return messages_; }

 private:
  static void keep(ExifLog* /*log*/, ExifLogCode code, const char* domain, const char* format,
                   va_list arguments, void* self) {
    char text[300];
    std::vsnprintf(text, sizeof(text), format, arguments);
    static_cast<ExifLogCapture*>(self)->messages_.push_back(
        std::string(domain) + " " + std::to_string(static_cast<int>(code)) + " " + text);
  }

  ExifLog* log_;
  std::vector<std::string> messages_;
};

}  // namespace media_test
