#ifndef FRIM_PDK_CFILOADER_H
#define FRIM_PDK_CFILOADER_H

// Loading of libraries at run time.
//
// frim_dlopen_lib opens exactly the path it is given, with one documented
// exception for test rigs and demos: when FRIM_DLOPEN_ROOT is set (and not
// empty), an absolute path is opened below that directory instead, so
// "/usr/lib/libsvrrm.so" becomes "$FRIM_DLOPEN_ROOT/usr/lib/libsvrrm.so".
// There is no fallback to the real path when the mapped file is missing: a
// rig never loads a vendor library by accident. The path really opened is
// traced at level 2. A setuid or setgid process ignores the variable (and
// traces that it did): its environment is its caller's.

// Returns the library handle, or null (frim_dlerror says why).
void* frim_dlopen_lib(const char* path);
// The address of `symbol` in the library, or null.
void* frim_dlsym(void* handle, const char* symbol);
// The text of the last loader failure; never null.
const char* frim_dlerror();
// Closes the library; 0 on success.
int frim_dlclose(void* handle);

#endif
