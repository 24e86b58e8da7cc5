__attribute__((visibility("default"))) int Answer(void);

int Answer(void) {
  return 42;
}
