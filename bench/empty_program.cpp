// Linked to the same libraries as maintask and does nothing: the reference of its resident memory.
#include <unistd.h>

int main() { pause(); }
