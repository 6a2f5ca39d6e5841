// Does nothing, with whatever libraries it is linked to.

int main() {}
