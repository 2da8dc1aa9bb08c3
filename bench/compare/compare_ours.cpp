#include "compare_ours.h"

#include "compare_decoders.h"

namespace CompareBench {

bool haveOursWriter()
{
    return false;
}

bool writeOurs(const BenchImage&, bool, const std::string&, std::string& error)
{
    error = "no writer yet";
    return false;
}

bool streamOursToNull(const std::string&, unsigned, std::string& error)
{
    error = "no reader yet";
    return false;
}

std::unique_ptr<Decoder> makeOursDecoder()
{
    return nullptr;
}

}  // namespace CompareBench
