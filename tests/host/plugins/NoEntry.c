/* A library that is no plug-in at all. */
__attribute__((visibility("default"))) int someFunction(void);

int someFunction(void) { return 0; }
