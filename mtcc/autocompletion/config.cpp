#include "mtcc/autocompletion/config.hpp"

namespace mtcc::Config {

const fl::ustring promptID = u"ostrel-autocompletion";
const fl::ustring promptVersion = u"v1";

}  // namespace mtcc::Config
