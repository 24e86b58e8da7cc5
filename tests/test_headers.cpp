// Nothing to run: the target of this file holds the precompiled headers of the tests.
int main() {}
