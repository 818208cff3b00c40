#include "tour.h"

void tourSync()
{
}
