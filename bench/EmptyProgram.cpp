// What the system takes to start and end any program at all.
int main() {
    return 0;
}
