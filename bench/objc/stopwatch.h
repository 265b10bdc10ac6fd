#pragma once

// Measures a case inside a program of its own.

#ifdef __cplusplus
extern "C" {
#endif

/// Does the case's work so many times.
typedef void (*BenchLoop)(void *context, unsigned long times);

/// Returns what one time costs, in nanoseconds of processor time: as the average of as many as take 20 ms.
double bench_nanoseconds(BenchLoop loop, void *context);
/// This process's processor time until now, in nanoseconds.
double bench_processorTime(void);

#ifdef __cplusplus
}
#endif
