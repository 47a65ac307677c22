// What any program with the libraries of kelvanectl takes to begin and end.
int main()
{
}
