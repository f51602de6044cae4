#pragma once

#include <string>

namespace zrtmon::test {

/// Names the cases of a table by their member `name`.
struct CaseName {
    template <typename Info>
    std::string operator()(const Info& testCase) const
    {
        return testCase.param.name;
    }
};

} // namespace zrtmon::test
