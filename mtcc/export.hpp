#pragma once

// Marks the library's external interfaces; everything else in libmtcc stays hidden.
#define MTCC_EXPORT __attribute__((visibility("default")))
