// SPDX-License-Identifier: MIT

#include "support/PlainPath.h"

#include <cstddef>

namespace {

struct Places {
  std::size_t componentStart = 0;
  std::size_t componentEnd = 0;  // its start if there is no component
  std::size_t dot = 0;           // the extension's, if there is one
  bool hasExtension = false;
};

Places placesIn(const std::string& path) {
  Places places;
  bool inComponent = false;
  for (std::size_t i = 0; i < path.size(); ++i) {
    if (path[i] == '/') {
      inComponent = false;
      continue;
    }
    if (!inComponent) {
      inComponent = true;
      places.componentStart = i;
    }
    places.componentEnd = i + 1;
  }
  for (std::size_t i = places.componentStart; i < places.componentEnd; ++i) {
    if (path[i] == '.') {
      const bool isFirst = i == places.componentStart;
      const bool isLast = i + 1 == places.componentEnd;
      places.dot = i;
      places.hasExtension = !isFirst && !isLast;
    }
  }
  return places;
}

std::string slice(const std::string& text, std::size_t from, std::size_t end) {
  std::string result;
  for (std::size_t i = from; i < end; ++i) {
    result += text[i];
  }
  return result;
}

}  // namespace

namespace ox::test::plain {

std::string lastComponent(const std::string& path) {
  const Places places = placesIn(path);
  return slice(path, places.componentStart, places.componentEnd);
}

std::string extension(const std::string& path) {
  const Places places = placesIn(path);
  return places.hasExtension ? slice(path, places.dot + 1, places.componentEnd) : "";
}

std::string deletingExtension(const std::string& path) {
  const Places places = placesIn(path);
  return places.hasExtension ? slice(path, 0, places.dot) : path;
}

std::string deletingLastComponent(const std::string& path) {
  std::string parent = slice(path, 0, placesIn(path).componentStart);
  while (!parent.empty() && parent.back() == '/') {
    parent.pop_back();
  }
  const bool isAbsolute = !path.empty() && path.front() == '/';
  return parent.empty() && isAbsolute ? "/" : parent;
}

std::string appendingComponent(const std::string& path, const std::string& component) {
  if (path.empty()) {
    return component;
  }
  std::string tail = component;
  while (!tail.empty() && tail.front() == '/') {
    tail = slice(tail, 1, tail.size());
  }
  if (tail.empty()) {
    return path;
  }
  std::string head = path;
  while (!head.empty() && head.back() == '/') {
    head.pop_back();
  }
  return head + "/" + tail;
}

}  // namespace ox::test::plain
