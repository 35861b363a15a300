// corvane: console batch processor for images, volumes, meshes and lines.
#include "shell/entry.h"

int main(int argc, char** argv) { return corvane::runCorvane(argc, argv); }
