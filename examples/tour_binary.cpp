#include "tour.h"

void tourBinary()
{
}
