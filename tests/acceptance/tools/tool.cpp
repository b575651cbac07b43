// Stands for a product's tools in the packages of the tests: it has a version and does nothing.
int main() {
    return 0;
}
