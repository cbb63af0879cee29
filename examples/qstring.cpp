// SPDX-License-Identifier: MIT

// Strings of Qt, to and from the library's.

#include <OrvexKit/OXFileUtil.h>

#include <QByteArray>
#include <QFile>
#include <QString>
#include <iostream>

namespace {

// For texts. A null string stays null. Qt's strings are UTF-16: bytes that are not UTF-8 become
// U+FFFD, so this is for showing a name, and not for finding its file again.
QString toQString(const OXString& string) {
  return string ? QString::fromStdString(*string) : QString();
}

OXString toOXString(const QString& string) {
  return string.isNull() ? OXString() : string.toStdString();
}

// For paths that come from Qt, such as those of a file dialog: the bytes that Qt itself would hand
// to the system.
OXString pathToOXString(const QString& path) {
  return path.isNull() ? OXString() : QFile::encodeName(path).toStdString();
}

}  // namespace

int main() {
  const QString name = QStringLiteral("Fotos aus Köln.tar.gz");
  const QString base =
      toQString(OXFileUtilAdditions::stringByDeletingArchiveExtension(toOXString(name)));
  std::cout << qPrintable(base) << '\n'
            << OXGetFirstArchiveVolumePath(pathToOXString("/v/photos.zip")).value_or("null") << '\n'
            << toQString(OXGetFirstArchiveVolumePath(toOXString(QString()))).isNull() << '\n';

  // The bytes stay with the library's string, from which the file can be opened.
  const OXString odd = "caf\xe9.zip";
  std::cout << qPrintable(toQString(odd)) << '\n' << odd->size() << " bytes\n";
}
