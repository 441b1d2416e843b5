// Calls a function with each of its pointer arguments null in turn.
#pragma once

#include <qbase/status.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

// Expects QSYS_E_ARGUMENT for every pointer argument that is null, those at the positions `optional` (from
// 0) excepted, and no crash when all are null. The other arguments are as given.
template <class... Parameters>
void test_refusesNull(const char* name, qsys_status (*function)(Parameters...),
                      const std::vector<size_t>& optional, std::type_identity_t<Parameters>... arguments)
{
    const std::tuple<Parameters...> good(arguments...);
    auto allNull = good;
    const auto position = [&]<size_t I>(std::integral_constant<size_t, I>) {
        if constexpr (std::is_pointer_v<std::tuple_element_t<I, std::tuple<Parameters...>>>) {
            auto bad = good;
            std::get<I>(bad) = nullptr;
            std::get<I>(allNull) = nullptr;
            if (std::find(optional.begin(), optional.end(), I) == optional.end()) {
                EXPECT_EQ(std::apply(function, bad), QSYS_E_ARGUMENT) << name << ", argument " << I;
            }
        }
    };
    [&]<size_t... I>(std::index_sequence<I...>)
    {
        (position(std::integral_constant<size_t, I>{}), ...);
    }
    (std::index_sequence_for<Parameters...>{});
    EXPECT_EQ(std::apply(function, allNull), QSYS_E_ARGUMENT) << name << ", all null";
}
