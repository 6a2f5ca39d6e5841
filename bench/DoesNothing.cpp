// Does nothing. It is linked to different libraries.

int main() {}
