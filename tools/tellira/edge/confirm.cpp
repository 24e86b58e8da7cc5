#include "edge/confirm.h"

#include <unistd.h>

#include <cstdio>
#include <iostream>

#include "edge/console.h"
#include "edge/masking.h"
#include "text/text.h"

namespace tool {

bool confirmed(const std::string& what, bool yes) {
  if (yes) return true;
  // Both of them: a question that goes into a log nobody answers.
  if (isatty(STDIN_FILENO) != 1 || isatty(STDERR_FILENO) != 1)
    throw Failure(kUsage, "nobody can be asked whether to " + what + ".\n  next: add --yes to agree beforehand.");
  std::fprintf(stderr, "About to %s. Go on? [y/N] ", maskCards(what).c_str());
  std::string answer;
  std::getline(std::cin, answer);
  const std::string word = upperCase(trimmed(answer));
  return word == "Y" || word == "YES";
}

}  // namespace tool
