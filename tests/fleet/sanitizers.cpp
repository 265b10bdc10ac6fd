// Debian's libzmq is not compiled for the thread sanitizer, which so does not see that its threads wait for each other.
// What they do with memory is not reported; what our threads do is.
extern "C" {
const char* __tsan_default_suppressions();  // NOLINT(bugprone-reserved-identifier)
const char* __tsan_default_suppressions() { return "called_from_lib:libzmq.so\n"; }
}
