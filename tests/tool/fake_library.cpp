// A library with the exports that a host sees, on which the tool's own conduct is tested: it writes down every call
// (calls.txt in the working directory), answers 1 and the fields, and misbehaves when the first field says so. A first
// field that begins with a dash is answered alone, as a result.
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "support/base64.h"

#define EXPORT extern "C" __attribute__((visibility("default")))

namespace {

bool encoded = true;

/// Says its words and ends the process with that status.
void end(const char* words, int status = 0) {
  std::printf("%s", words);
  std::fflush(stdout);
  if (status == 1) (void)std::getchar();
  std::exit(status);
}

void append(const char* name, const std::string& line) {
  std::ofstream(name, std::ios::app | std::ios::binary) << line << "\n" << std::flush;
}

void misbehave(const std::string& what) {
  if (what == "!dll") end("\nDLL ./libconvecf.so n\xE3o encontrada\nRunTimeError = 133");
  if (what == "!function")
    end("\nFunction <ECF_Registry_Path> not found in DLL <./libconvecf.so>!\nRunTimeError = 134");
  if (what == "!argument") end("\n\nRunTimeError = -1");
  if (what == "!catch") end("\nSAIU PELO CATCH.....");
  if (what == "!exit7") end("", 7);
  if (what == "!silent") _exit(0);
  if (what == "!crash") {
    signal(SIGSEGV, SIG_DFL);  // past a sanitizer's handler
    raise(SIGSEGV);
  }
  if (what == "!hang") pause();
  for (int i = 0; what == "!flood" && i < 300000; ++i) std::printf("word %d\n", i);
  if (what.starts_with("!paper")) append("ecf-tape.txt", "Caf\xE9 & <p\xE3o> 4000000000000010");
  if (what == "!print") std::printf("card 4000 0000 0000 0010\n");
  if (what == "!stop") end("Library TELLIRA\nFunction not found in TELLIRA.DLL/SO -> ECF_NADA\n<Enter>", 1);
}

/// The dialogue: each continuation plays the next line of dialogue.txt in the working directory, which holds the
/// answer's fields separated by '|', '~' for a line end.
std::string playDialogue() {
  static std::ifstream script("dialogue.txt");
  std::string line;
  std::getline(script, line);
  std::replace(line.begin(), line.end(), '|', '\1');
  std::replace(line.begin(), line.end(), '~', '\n');
  return line;
}

std::string answerTo(const std::string& call) {
  append("calls.txt", call);
  if (call.starts_with("IniciaFuncaoSiTef")) return "10000";
  if (call.starts_with("ContinuaFuncao")) return playDialogue();
  const std::size_t first = call.find('\1');
  if (first == std::string::npos) return "1";
  const std::string what = call.substr(first + 1, call.find('\1', first + 1) - first - 1);
  misbehave(what);
  if (what == "!long") return "1" + std::string(200000, 'x');
  return what.starts_with('-') ? call.substr(first + 1) : "1" + call.substr(first);
}

}  // namespace

EXPORT void SetEncode(short on) {
  encoded = on != 0;
}
EXPORT void SetCheckBuffer(short) {}

EXPORT int ExecInClientDLL(int cmd, char* params, char* out, int outLen) {
  const std::string call = encoded ? fromBase64(params).c_str() : params;
  std::string answer = cmd == 999 ? "3.4.1.3" : answerTo(call.substr(0, call.rfind('\2')));
  if (encoded && cmd != 999) answer = base64(answer + '\0');
  if (outLen > 0) std::strncpy(out, answer.c_str(), static_cast<std::size_t>(outLen));
  return 1;
}
