/* A library with the exports that a host sees, on which the tool's own conduct is tested: it writes down every call
   (calls.txt in the working directory), answers 1 and the fields, and misbehaves when the first field says so. A first
   field that begins with a dash is answered alone, as a result. */
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#define EXPORT __attribute__((visibility("default")))

static short encoded = 1;

EXPORT void SetEncode(short on);
EXPORT void SetCheckBuffer(short on);
EXPORT int ExecInClientDLL(int cmd, char* params, char* out, int outLen);

EXPORT void SetEncode(short on) {
  encoded = on;
}
EXPORT void SetCheckBuffer(short on) {
  (void)on;
}

static const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

static size_t decode(const char* text, char* bytes, size_t room) {
  unsigned group = 0;
  int bits = 0;
  size_t size = 0;
  for (; *text != '\0' && *text != '=' && size < room; ++text) {
    const char* at = strchr(alphabet, *text);
    if (at == NULL) break;
    group = group << 6 | (unsigned)(at - alphabet);
    bits += 6;
    if (bits < 8) continue;
    bits -= 8;
    bytes[size++] = (char)(group >> bits);
  }
  return size;
}

static void encode(const unsigned char* bytes, size_t size, char* text) {
  for (size_t i = 0; i < size; i += 3) {
    unsigned group = (unsigned)bytes[i] << 16;
    if (i + 1 < size) group |= (unsigned)bytes[i + 1] << 8;
    if (i + 2 < size) group |= bytes[i + 2];
    *text++ = alphabet[group >> 18];
    *text++ = alphabet[group >> 12 & 63];
    *text++ = i + 1 < size ? alphabet[group >> 6 & 63] : '=';
    *text++ = i + 2 < size ? alphabet[group & 63] : '=';
  }
  *text = '\0';
}

static void answer(const char* text, char* out, int outLen) {
  static char coded[1 << 20];
  if (encoded) encode((const unsigned char*)text, strlen(text) + 1, coded);
  if (outLen > 0) strncpy(out, encoded ? coded : text, (size_t)outLen);
}

static void endedByRuntime(const char* words, int number) {
  printf("\n%s\nRunTimeError = %d", words, number);
  fflush(stdout);
  exit(0);
}

static void append(const char* name, const char* line) {
  int file = open(name, O_WRONLY | O_APPEND | O_CREAT, 0644);
  if (file < 0) return;
  if (write(file, line, strlen(line)) < 0 || write(file, "\n", 1) < 0) abort();
  close(file);
}

static void misbehave(const char* what) {
  if (strcmp(what, "!dll") == 0) endedByRuntime("DLL ./libconvecf.so n\xE3o encontrada", 133);
  if (strcmp(what, "!function") == 0) {
    endedByRuntime("Function <ECF_Registry_Path> not found in DLL <./libconvecf.so>!", 134);
  }
  if (strcmp(what, "!argument") == 0) endedByRuntime("", -1);
  if (strcmp(what, "!catch") == 0) {
    printf("\nSAIU PELO CATCH.....");
    exit(0);
  }
  if (strcmp(what, "!exit7") == 0) exit(7);
  if (strcmp(what, "!silent") == 0) _exit(0);
  if (strcmp(what, "!crash") == 0) {
    signal(SIGSEGV, SIG_DFL); /* past a sanitizer's handler */
    raise(SIGSEGV);
  }
  if (strcmp(what, "!hang") == 0) pause();
  if (strcmp(what, "!flood") == 0) {
    for (int i = 0; i < 300000; ++i) printf("word %d\n", i);
  }
  if (strncmp(what, "!paper", 6) == 0) append("ecf-tape.txt", "Caf\xE9 & <p\xE3o> 4000000000000010");
  if (strcmp(what, "!print") == 0) printf("card 4000 0000 0000 0010\n");
  if (strcmp(what, "!stop") == 0) {
    printf("Library TELLIRA\nFunction not found in TELLIRA.DLL/SO -> ECF_NADA\n<Enter>");
    fflush(stdout);
    (void)getchar();
    exit(1);
  }
}

/* The dialogue: each continuation plays the next line of dialogue.txt in the working directory, which holds the
   answer's fields separated by '|', and writes down what it was told. */
static void playDialogue(char* text, size_t room) {
  static int step;
  char line[1024] = "";
  FILE* script = fopen("dialogue.txt", "r");
  if (script == NULL) return;
  for (int i = 0; i <= step; ++i) {
    if (fgets(line, sizeof line, script) == NULL) break;
  }
  fclose(script);
  ++step;
  line[strcspn(line, "\n")] = '\0';
  for (char* c = line; *c != '\0'; ++c) {
    if (*c == '|') *c = 1;
    if (*c == '~') *c = '\n';
  }
  snprintf(text, room, "%s", line);
}

EXPORT int ExecInClientDLL(int cmd, char* params, char* out, int outLen) {
  static char bytes[1 << 18];
  static char text[1 << 19];
  if (cmd == 999) {
    if (outLen > 0) strncpy(out, "3.4.1.3", (size_t)outLen);
    return 1;
  }
  size_t size = encoded ? decode(params, bytes, sizeof bytes - 1) : strlen(strncpy(bytes, params, sizeof bytes - 1));
  bytes[size] = '\0';
  char* end = strrchr(bytes, 2);
  if (end != NULL) *end = '\0';
  append("calls.txt", bytes);
  const char* second = strchr(bytes, 1);
  if (second != NULL) {
    char what[64];
    snprintf(what, sizeof what, "%.*s", (int)strcspn(second + 1, "\x01"), second + 1);
    misbehave(what);
    if (strcmp(what, "!long") == 0) {
      text[0] = '1';
      memset(text + 1, 'x', 200000);
    } else {
      snprintf(text, sizeof text, "%s%s", second[1] == '-' ? "" : "1", second[1] == '-' ? second + 1 : second);
    }
  } else {
    snprintf(text, sizeof text, "1");
  }
  if (strncmp(bytes, "IniciaFuncaoSiTef", 17) == 0) snprintf(text, sizeof text, "10000");
  if (strncmp(bytes, "ContinuaFuncao", 14) == 0) playDialogue(text, sizeof text);
  answer(text, out, outLen);
  return 1;
}
