#include "tour.h"

void tourCore()
{
}
