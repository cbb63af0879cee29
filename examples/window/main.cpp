// SPDX-License-Identifier: MIT

// A small archiver with a window.
//
//   window [VOLUME]

#include <QApplication>
#include <QFile>
#include <QIcon>
#include <string>
#include <string_view>
#include <vector>

#include "tour/ArchiveWorker.h"
#include "window/Window.h"

int main(int argc, char** argv) {
  // Before anything of Qt's: a worker has no window, and no threads.
  if (argc > 1 && std::string_view(argv[1]) == "--worker") {
    return tour::runWorker({argv + 2, argv + argc});
  }
  const QApplication application(argc, argv);
  QIcon::setFallbackThemeName("breeze");  // for desktops that name no theme
  Window window;
  if (argc > 1) {
    window.open(QFile::decodeName(argv[1]));
  }
  window.show();
  return QApplication::exec();
}
