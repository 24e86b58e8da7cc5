/* A host in C on the finished shared library: loads it, runs commands, leaves. In a directory with vendor libraries
 * that answer as the recording ones do: shared_library_test LIBRARY shared_library_test LIBRARY COMMAND     runs a
 * command without arguments and says so when it comes back */
#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

static int failures;

static void expect(const char* what, const char* got, const char* wanted) {
  if (strcmp(got, wanted) == 0) return;
  fprintf(stderr, "%s: got %s, wanted %s\n", what, got, wanted);
  ++failures;
}

int main(int argc, char** argv) {
  void* library = argc >= 2 ? dlopen(argv[1], RTLD_NOW) : NULL;
  if (library == NULL) {
    fprintf(stderr, "cannot load the library: %s\n", dlerror());
    return 1;
  }
  int (*exec)(int, char*, char*, int) = (int (*)(int, char*, char*, int))dlsym(library, "ExecInClientDLL");
  void (*encode)(short) = (void (*)(short))dlsym(library, "SetEncode");
  if (exec == NULL || encode == NULL || dlsym(library, "SetCheckBuffer") == NULL) return 1;

  char out[256];
  if (argc > 2) {
    char command[64];
    snprintf(command, sizeof command, "%s\2", argv[2]);
    encode(0);
    exec(0, command, out, sizeof out);
    puts("came back");
    return 1;
  }
  exec(999, "", out, sizeof out);
  expect("version", out, "3.4.1.3");
  exec(0, "RUNGX0xlaXR1cmFYAgA=", out, sizeof out); /* ECF_LeituraX, 0x02, 0 */
  expect("encoded call", out, "MTAwMAA=");          /* 1000, 0 */
  encode(0);
  exec(0, "ECF_LeituraX\2", out, sizeof out);
  expect("plain call", out, "1000");
  return failures == 0 ? 0 : 1;
}
