// corvane: console batch processor for images, volumes, meshes and lines.
int main() { return 0; }
