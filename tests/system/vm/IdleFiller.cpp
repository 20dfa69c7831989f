// Runs in the virtual machine when nothing else does, and so keeps its clock, which counts instructions, from skipping
// (guest/pace.py). The emulator does a stretch of nops nearly at once: with one of this length the machine's clock runs
// at most some five times as fast as the host's, and a second of waiting costs the host a fifteenth of what a loop of
// the shell costs it.
int main() {
  for (;;) {
    __asm__ volatile(".rept 32\n\tnop\n\t.endr");
  }
}
