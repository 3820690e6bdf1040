// SPDX-License-Identifier: Apache-2.0
// sanitizer_options.cpp -- how the address sanitizer watches a fuzz target.
//
// One input frees little: a small quarantine outlives it and leaves memory warm for the next one.
// Short stacks tell where memory came from. A shell allocates 64 KiB for every line that it
// prints: to spoil the beginning of that is enough.
extern "C" const char *__asan_default_options()
{
    return "quarantine_size_mb=4:thread_local_quarantine_size_kb=64:malloc_context_size=6:"
           "max_malloc_fill_size=256";
}
