// Wine's import libraries lack the data export of type_info's table, which catching by type
// needs in a program built for Microsoft's ABI; the runtime matches types by name, so a stand-in
// serves. Linked only into that build, under Wine.
extern "C" const void* host_type_info_table[2] = {nullptr, nullptr};
#pragma comment(linker, "/alternatename:??_7type_info@@6B@=host_type_info_table")
