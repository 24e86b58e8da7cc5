/* A vendor library that records every call and answers as it was told; the entry points are generated from the command
 * data into mock_entries.inc. */
#include "mock_vendor.h"

#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#define EXPORT __attribute__((visibility("default")))

static char record[1 << 16];
static struct MockAnswer answers[64];
static int answerCount;
static int plannedResult;
static int hasPlannedResult;

EXPORT const char* mock_record(void) {
  return record;
}

EXPORT void mock_reset(void) {
  record[0] = '\0';
  answerCount = 0;
  hasPlannedResult = 0;
}

EXPORT void mock_result(int result) {
  plannedResult = result;
  hasPlannedResult = 1;
}

EXPORT void mock_answer(struct MockAnswer answer) {
  if (answerCount < 64) answers[answerCount++] = answer;
}

static const struct MockAnswer* plannedFor(int argument) {
  for (int i = 0; i < answerCount; ++i) {
    if (answers[i].argument == argument) return &answers[i];
  }
  return NULL;
}

static void note(const char* format, ...) {
  size_t used = strlen(record);
  va_list list;
  va_start(list, format);
  vsnprintf(record + used, sizeof record - used, format, list);
  va_end(list);
}

static int answerNumber(int argument, int given) {
  const struct MockAnswer* planned = plannedFor(argument);
  if (planned != NULL) return planned->number;
  return answerCount == 0 ? 100 + argument : given;
}

static void answerText(int argument, char* text) {
  const struct MockAnswer* planned = plannedFor(argument);
  if (planned != NULL) {
    memcpy(text, planned->bytes, planned->size);
  } else if (answerCount == 0) {
    sprintf(text, " r%d ", argument);
  }
}

/* kinds: one letter an argument: i int, p pointer to int, h pointer to short, s text. */
static int called(const char* name, const char* kinds, ...) {
  va_list list;
  va_start(list, kinds);
  note("%s(", name);
  int count = 0;
  for (; kinds[count] != '\0'; ++count) {
    if (count > 0) note(",");
    if (kinds[count] == 'i') {
      note("%d", va_arg(list, int));
    } else if (kinds[count] == 'p') {
      int* number = va_arg(list, int*);
      note("&%d", *number);
      *number = answerNumber(count, *number);
    } else if (kinds[count] == 'h') {
      short* number = va_arg(list, short*);
      note("&%d", *number);
      *number = (short)answerNumber(count, *number);
    } else {
      char* text = va_arg(list, char*);
      note("'%s'", text);
      answerText(count, text);
    }
  }
  note(")");
  va_end(list);
  return hasPlannedResult ? plannedResult : 1000 + count;
}

#include "mock_entries.inc"
