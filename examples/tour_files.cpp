#include "tour.h"

void tourFiles()
{
}
