// SPDX-License-Identifier: MIT

// Why a call has failed, in the words of the library's log, for a message in a window.

#include <OrvexKit/OXFileUtil.h>
#include <glib.h>

#include <iostream>
#include <string>
#include <string_view>
#include <utility>

namespace {

std::string_view textOf(const GLogField& field) {
  const char* const text = static_cast<const char*>(field.value);
  return field.length < 0 ? std::string_view(text)
                          : std::string_view(text, static_cast<std::size_t>(field.length));
}

// Keeps what the library logs on this thread for as long as the object is there. The library logs
// on the thread that calls it, and before the call returns.
class Reasons {
 public:
  Reasons() : enclosing_(std::exchange(current, this)) {}
  ~Reasons() { current = enclosing_; }
  Reasons(const Reasons&) = delete;
  Reasons& operator=(const Reasons&) = delete;

  const std::string& text() const { return text_; }

  // For GLib: takes the library's lines while somebody waits for them, and hands on all others.
  static GLogWriterOutput write(GLogLevelFlags level, const GLogField* fields, gsize count,
                                gpointer data) {
    std::string_view domain;
    std::string_view message;
    for (gsize i = 0; i < count; ++i) {
      const std::string_view key = fields[i].key;
      if (key == "GLIB_DOMAIN") {
        domain = textOf(fields[i]);
      } else if (key == "MESSAGE") {
        message = textOf(fields[i]);
      }
    }
    if (current == nullptr || domain != "OrvexKit") {
      return g_log_writer_default(level, fields, count, data);
    }
    current->text_.append(current->text_.empty() ? "" : "\n").append(message);
    return G_LOG_WRITER_HANDLED;
  }

 private:
  static thread_local Reasons* current;

  Reasons* enclosing_;
  std::string text_;
};

thread_local Reasons* Reasons::current = nullptr;

}  // namespace

int main() {
  // Once in a process, before anything is logged.
  g_log_set_writer_func(Reasons::write, nullptr, nullptr);

  const Reasons reasons;
  if (!OXCreateTemporaryDirectoryInDir("/missing")) {
    std::cout << "The archive cannot be opened.\n" << reasons.text() << '\n';
  }
  // An empty file has the same size as one that cannot be read. The log tells which it is.
  const Reasons ofSize;
  if (OXGetFileSize("/missing/photos.zip") == 0 && !ofSize.text().empty()) {
    std::cout << "The size is not known.\n" << ofSize.text() << '\n';
  }
}
