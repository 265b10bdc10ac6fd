#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/// Nanoseconds for a case of objects, in a program with the backend or without it; below zero: there is no such case.
double bench_objectCase(const char *name);

#ifdef __cplusplus
}
#endif
