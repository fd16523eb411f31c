// Linked, in the sanitizer build, into the test programs that show the views
// with their symbols. Qt Quick keeps the images our symbol provider drew in
// its own pixmap store for the life of the process, and the leak checker at
// exit reports them (and their textures) as indirect leaks with no direct
// one. Leak checking is off for these programs alone; the address and
// undefined-behaviour checks stay on, and every other test program is
// leak-checked.
extern "C" const char* __lsan_default_options() { return "detect_leaks=0"; }
