// SPDX-License-Identifier: MIT

#pragma once

namespace oxarchive {

// Base of classes that are neither copied nor moved.
class Uncopied {
 public:
  Uncopied(const Uncopied&) = delete;
  Uncopied& operator=(const Uncopied&) = delete;

 protected:
  Uncopied() = default;
  ~Uncopied() = default;
};

}  // namespace oxarchive
