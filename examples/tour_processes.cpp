#include "tour.h"

void tourProcesses()
{
}
