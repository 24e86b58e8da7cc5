/* A vendor library that answers at once, so that only the way to it and back is measured. */
__attribute__((visibility("default"))) int ECF_NumeroCupom(char* number) {
  __builtin_memcpy(number, "001234", 7);
  return 1;
}
