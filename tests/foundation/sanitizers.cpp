// What the sanitizers report of the libraries below: memory that they allocate once and never free, and the order of
// their own locks. Only whole call stacks tell their memory from ours, because Foundation allocates every object.

extern "C" {

const char* __asan_default_options();       // NOLINT(bugprone-reserved-identifier): the sanitizers'
const char* __lsan_default_suppressions();  // NOLINT(bugprone-reserved-identifier)
const char* __tsan_default_suppressions();  // NOLINT(bugprone-reserved-identifier)

const char* __asan_default_options() { return "fast_unwind_on_malloc=0"; }
const char* __lsan_default_suppressions() {
  return
      // selectors, classes
      "leak:libobjc.so\n"
      // The domains of NSUserDefaults, in the functions that may be the first to ask for them.
      "leak:defaultsOfAccount\n"
      "leak:NSLogv\n"
      // GNUstep's setter for observed properties keeps its object when an observer raises, as this test's does.
      "leak:IsProxiedOnceForAnyActionOfAnObserver\n";
}
const char* __tsan_default_suppressions() {
  return "deadlock:libobjc.so\n"
         "deadlock:libgnustep-base.so\n";
}

}  // extern "C"
