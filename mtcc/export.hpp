#pragma once

// Marks what the shared library exports; everything else in it is built hidden.
#define MTCC_EXPORT __attribute__((visibility("default")))
