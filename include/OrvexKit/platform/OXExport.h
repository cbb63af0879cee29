// Marks what the shared library offers; everything else stays hidden in it.

#pragma once

#define OX_EXPORT __attribute__((visibility("default")))
