#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "model/results/json_text.h"

namespace tarn {
namespace {

TEST(Json_text, numbers_are_the_shortest_that_read_back_the_same) {
  EXPECT_EQ(Json(0.1).text(), "0.1");
  EXPECT_EQ(Json(50.0).text(), "50");
  EXPECT_EQ(Json(-0.0).text(), "-0");
  EXPECT_EQ(Json(1e-7).text(), "1e-07");
  EXPECT_EQ(Json(5e-324).text(), "5e-324");
  EXPECT_EQ(Json(1.0 / 3.0).text(), "0.3333333333333333");
  EXPECT_EQ(Json(std::numeric_limits<double>::max()).text(), "1.7976931348623157e+308");
  EXPECT_EQ(Json(-2147483647 - 1).text(), "-2147483648");
}

TEST(Json_text, what_is_no_number_is_null) {
  EXPECT_EQ(Json(std::nan("")).text(), "null");
  EXPECT_EQ(Json(std::numeric_limits<double>::infinity()).text(), "null");
  EXPECT_EQ(Json(-std::numeric_limits<double>::infinity()).text(), "null");
  EXPECT_EQ(Json().text(), "null");
}

TEST(Json_text, texts_are_quoted_and_mended) {
  EXPECT_EQ(Json("a \"b\" \\ \n").text(), R"("a \"b\" \\ \n")");
  EXPECT_EQ(Json(std::string_view("\0\x1f", 2)).text(), R"("\u0000\u001f")");
  EXPECT_EQ(Json("\xc3\xa9").text(), "\"\xc3\xa9\"");
  // A byte of another code, a text cut inside a letter, a letter written too long, half of a pair.
  for (const char* bad : {"\xe9", "\xc3", "\xe2\x82", "\xf8\x88"})
    EXPECT_NE(Json(bad).text().find("\xef\xbf\xbd"), std::string::npos) << bad;
  EXPECT_EQ(Json("").text(), "\"\"");
}

TEST(Json_text, lists_and_objects) {
  Json list = Json::array();
  EXPECT_EQ(list.text(), "[]");
  list.push_back(1);
  list.push_back({{"a", true}, {"b", Json()}});
  list.push_back(Json::array());
  EXPECT_EQ(list.text(), R"([1,{"a":true,"b":null},[]])");
  Json object{{"list", list}};
  object.add("text", "t");
  EXPECT_EQ(object.text(), R"({"list":[1,{"a":true,"b":null},[]],"text":"t"})");
  Json empty(std::initializer_list<Json::Member>{});
  EXPECT_EQ(empty.text(), "{}");
  empty.add("one", 1);
  EXPECT_EQ(empty.text(), R"({"one":1})");
}

}  // namespace
}  // namespace tarn
