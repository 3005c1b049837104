// What ThreadSanitizer need not report; part of every program of its build, so that it holds wherever a program runs.

extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions();

const char* __tsan_default_suppressions()
{
    return "race:libfuse3.so\n"; // not instrumented: what its own locks order cannot be seen
}
