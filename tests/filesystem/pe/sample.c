/* The program (or library) that carries the test resources: it does nothing. */
int main(void)
{
    return 0;
}
