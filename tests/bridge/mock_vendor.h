/* What tests tell a recording vendor library through dlsym. */
#ifndef MOCK_VENDOR_H
#define MOCK_VENDOR_H

#include <stddef.h>

/* The answer that one argument (from 0) of the next calls gets: bytes into a text, number into a reference. */
struct MockAnswer {
  int argument;
  int number;
  size_t size;
  const char* bytes;
};

/* mock_record: all calls since mock_reset, as NAME(arguments). mock_reset also forgets the planned answers: then texts
 * are answered with " r<argument> ", references with 100 + argument, and the result is 1000 + number of arguments. Once
 * any answer is planned, arguments without one stay as they are. */
typedef const char* MockRecord(void);
typedef void MockReset(void);
typedef void MockResult(int result);
typedef void MockAnswerWith(struct MockAnswer answer);

#endif
