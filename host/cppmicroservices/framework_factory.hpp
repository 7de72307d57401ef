#pragma once

#include "cppmicroservices/framework.hpp"

namespace cppmicroservices {

class FrameworkFactory {
  public:
    // A new framework in the installed state; call Start (or Init) before using its context.
    Framework NewFramework() const;
};

}  // namespace cppmicroservices
