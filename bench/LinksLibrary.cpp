// Does nothing but link the library, which comes up and goes down.

#include "velmora/application/VersionControl.h"

int main() { return Velmora::VersionControl::getRevision() == nullptr ? 1 : 0; }
