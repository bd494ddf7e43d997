// Compiled into every sanitized program that reads saved items (tx_msg's interface sources).
//
// libgsf 1.14 leaks the directory entries it drops while gsf_infile_msole_new reads a malformed
// compound-file directory. Items are no longer read through libgsf (msg/CompoundFile.cpp), only
// written; the suppression stays until sanitized runs without it have shown it unneeded. Only
// allocations made under that function are suppressed, so a leak of our own still fails the run.
// libgsf and glib are built without frame pointers, hence the slow unwinder at allocation.
extern "C" const char* __asan_default_options();
extern "C" const char* __lsan_default_suppressions();

extern "C" const char* __asan_default_options() {
    return "fast_unwind_on_malloc=0";
}

extern "C" const char* __lsan_default_suppressions() {
    return "leak:gsf_infile_msole_new\n";
}
