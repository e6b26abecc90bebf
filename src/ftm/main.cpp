#include "ftm/ftm.h"
#include "platform/platform.h"

int main()
{
	plat::init();
	ftm::ftm_main();
}
