// Message queues between processes. Generated code includes this whether an interface has any or
// not, and none of ours has.
#pragma once
