#include <dlfcn.h>
#include <stdio.h>

static int (*exec)(int, char*, char*, int);

static void run(char* params) {
  static char out[65536];
  exec(0, params, out, sizeof out - 1); /* an answer of that size or more would have no terminator */
  for (char* c = out; *c != '\0'; ++c) putchar(*c == 1 ? '|' : *c);
  putchar('\n');
}

int main(void) {
  void* library = dlopen("libtellira.so", RTLD_NOW); /* found through LD_LIBRARY_PATH */
  if (library == NULL) return fprintf(stderr, "%s\n", dlerror()), 1;
  exec = (int (*)(int, char*, char*, int))dlsym(library, "ExecInClientDLL");
  void (*encode)(short) = (void (*)(short))dlsym(library, "SetEncode");
  encode(0);                            /* plain texts instead of Base64, for this example */
  run("ECF_AbrePortaSerial\002");       /* a name, closed by 0x02 */
  run("ECF_NumeroCupom\001      \002"); /* name, 0x01, six blanks for the device to fill in */
  run("ECF_FechaPortaSerial\002");
  return 0;
}
