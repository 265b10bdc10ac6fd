// For a build with the address sanitizer: what the libraries below allocate once and never free. Only whole call stacks
// tell it from what our code loses, because Foundation allocates every object.

extern "C" {

const char* __asan_default_options();       // NOLINT(bugprone-reserved-identifier): the sanitizer's
const char* __lsan_default_suppressions();  // NOLINT(bugprone-reserved-identifier)

const char* __asan_default_options() { return "fast_unwind_on_malloc=0"; }
const char* __lsan_default_suppressions() {
  return "leak:libobjc.so\n"         // selectors, classes
         "leak:upToDateDefaults\n";  // the domains of NSUserDefaults
}

}  // extern "C"
