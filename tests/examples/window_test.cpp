// SPDX-License-Identifier: MIT

// Operates the window like a user, and prints what it shows.
//
//   window_test VOLUME [PICTURE]   opens it, extracts it, moves it to the Trash
//
// PICTURE: the file for a picture of the window after two thirds of the extraction.

#include <QAction>
#include <QApplication>
#include <QFile>
#include <QIcon>
#include <QLabel>
#include <QProgressBar>
#include <QTreeWidget>
#include <QTreeWidgetItemIterator>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <string_view>

#include "tour/ArchiveWorker.h"
#include "window/Window.h"

namespace {

template <typename Part>
Part& part(const Window& window, const char* name) {
  auto* const found = window.findChild<Part*>(name);
  if (found == nullptr) {
    std::cerr << "the window has no " << name << '\n';
    std::exit(EXIT_FAILURE);
  }
  return *found;
}

void waitUntil(const std::function<bool()>& isTrue) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (!isTrue()) {
    if (std::chrono::steady_clock::now() > end) {
      std::cerr << "nothing more happens\n";
      std::exit(EXIT_FAILURE);
    }
    QApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
  }
}

void printRows(QTreeWidget& entries) {
  for (QTreeWidgetItemIterator row(&entries); *row != nullptr; ++row) {
    std::cout << (*row)->icon(0).name().toStdString();
    for (int column = 0; column < entries.columnCount(); ++column) {
      std::cout << " | " << (*row)->text(column).toStdString();
    }
    std::cout << '\n';
  }
}

void trigger(Window& window, const char* name) {
  auto& action = part<QAction>(window, name);
  std::cout << name << (action.isEnabled() ? "" : " cannot be chosen") << '\n';
  action.trigger();
  waitUntil([&] { return part<QProgressBar>(window, "progress").isHidden(); });
  std::cout << part<QLabel>(window, "status").text().toStdString() << '\n';
}

void open(Window& window, const char* path) {
  window.open(QFile::decodeName(path));
  waitUntil([&] { return part<QProgressBar>(window, "progress").isHidden(); });
  std::cout << window.windowTitle().toStdString() << '\n';
  printRows(part<QTreeWidget>(window, "entries"));
  std::cout << part<QLabel>(window, "status").text().toStdString() << '\n';
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::string_view(argv[1]) == "--worker") {
    return tour::runWorker({argv + 2, argv + argc});
  }
  const QApplication application(argc, argv);
  QIcon::setFallbackThemeName("breeze");
  Window window;
  window.show();

  // Opening an archive is cancelled by opening another one.
  window.open(QFile::decodeName(argv[1]));
  open(window, argv[1]);

  int steps = 0;
  QObject::connect(&part<QProgressBar>(window, "progress"), &QProgressBar::valueChanged,
                   [&](int value) {
                     ++steps;
                     if (argc > 2 && value > 650) {
                       window.grab().save(argv[2]);
                       argc = 2;
                     }
                   });
  trigger(window, "extract");
  std::cout << (steps > 2 ? "in steps\n" : "at once\n");
  trigger(window, "trash");
  trigger(window, "extract");

  open(window, "/dev/null");
  // Opening one is cancelled by closing the window.
  window.open(QFile::decodeName(argv[0]));
}
