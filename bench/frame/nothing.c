// Does nothing: it is linked with the library whose loading is measured.
int main(void) { return 0; }
