// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/ProductApplicationImpl.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Locales.h"

#include <boost/program_options.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <sstream>
#include <string>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

constexpr const char* s_szLogger = "keswardin.infra.Application";

/// A product that does not configure logging, since the test captures the log.
class Product : public ProductApplicationImpl
{
  public:
    explicit Product(const char* in_szName = "Gateway") : ProductApplicationImpl(in_szName) {}

    using ProductApplicationImpl::getAllowedOptions;
    using ProductApplicationImpl::makeProductName;
    using ProductApplicationImpl::writeUsage;

    void run() override {}

    /// Calls `initialize` with the program's name and these arguments.
    bool start(std::initializer_list<const char*> in_arguments)
    {
        std::vector<std::string> texts(in_arguments.begin(), in_arguments.end());
        texts.insert(texts.begin(), "gateway");
        std::vector<char*> argv;
        for (std::string& strText : texts)
            argv.push_back(strText.data());
        const int iArguments = static_cast<int>(argv.size());
        argv.push_back(nullptr);
        return initialize(iArguments, argv.data());
    }

    /// Logs what the command line asks for.
    void output() const
    {
        outputProductName();
        outputVersion();
    }

  protected:
    bool configureLoggerDefault() override { return true; }
};

/// Starts a product and returns the lines that it logs about name and version.
std::vector<LogLine> outputOf(Product& out_product, std::initializer_list<const char*> in_arguments)
{
    EXPECT_TRUE(out_product.start(in_arguments));
    const CapturedLog log;
    out_product.output();
    return log.lines();
}

} // namespace

TEST(ProductApplication, ItsNameIsMadeOfBrandEditionAndItsOwn)
{
    EXPECT_STREQ("Keswardin Tarnel Gateway", Product("Gateway").getProductName());
}

TEST(ProductApplication, ItsNameIsBuiltAgainEachTime)
{
    Product product;
    product.setProductNameWithBrand("media server");
    EXPECT_STREQ("Keswardin Tarnel media server", product.getProductName());
    product.setProductNameWithBrand("Gateway");
    EXPECT_STREQ("Keswardin Tarnel Gateway", product.getProductName());
}

TEST(ProductApplication, WithoutANameItIsAnApplication)
{
    EXPECT_STREQ("Keswardin Tarnel ???Application???", Product(nullptr).getProductName());
    Product product;
    product.setProductNameWithBrand(nullptr);
    EXPECT_STREQ("Keswardin Tarnel ???Application???", product.getProductName());
}

TEST(ProductApplication, AnEmptyNameLeavesABlankAtTheEnd)
{
    EXPECT_STREQ("Keswardin Tarnel ", Product("").getProductName());
}

TEST(ProductApplication, WithoutAnEditionThereIsOneBlank)
{
    EXPECT_EQ("Keswardin Gateway", Product::makeProductName("keswardin", "", "Gateway"));
    EXPECT_EQ("Keswardin ", Product::makeProductName("keswardin", "", ""));
    EXPECT_EQ("Keswardin ???Application???", Product::makeProductName("keswardin", "", nullptr));
}

TEST(ProductApplication, OnlyTheFirstLetterOfAWordBecomesACapital)
{
    EXPECT_EQ("B EDITION x", Product::makeProductName("b", "eDITION", "x"));
    EXPECT_EQ("9brand -edition name", Product::makeProductName("9brand", "-edition", "name"));
    EXPECT_EQ(" E x", Product::makeProductName("", "e", "x"));
}

TEST(ProductApplication, HasNoVersionAtFirst)
{
    const Product product;
    EXPECT_EQ(0U, product.getProductMajorVersion());
    EXPECT_EQ(0U, product.getProductMinorVersion());
}

TEST(ProductApplication, ItsVersionBeginsWithTheMajorAndTheMinorOne)
{
    Product product;
    EXPECT_TRUE(product.setDottedRevision("7.12.3"));
    EXPECT_EQ(7U, product.getProductMajorVersion());
    EXPECT_EQ(12U, product.getProductMinorVersion());
}

TEST(ProductApplication, AVersionOfOneNumberHasAMinorOfZero)
{
    Product product;
    EXPECT_TRUE(product.setDottedRevision("3"));
    EXPECT_EQ(3U, product.getProductMajorVersion());
    EXPECT_EQ(0U, product.getProductMinorVersion());
}

TEST(ProductApplication, AVersionThatCannotBeReadLeavesNone)
{
    Product product;
    EXPECT_TRUE(product.setDottedRevision("7.12.3"));
    EXPECT_FALSE(product.setDottedRevision("8-1"));
    EXPECT_EQ(0U, product.getProductMajorVersion());
    EXPECT_EQ(0U, product.getProductMinorVersion());
    EXPECT_THAT(outputOf(product, {"--version"}),
                ElementsAre(infoLine(s_szLogger, "Product version : ")));
}

TEST(ProductApplication, IsUsedThroughItsInterface)
{
    Product product;
    ProductApplication& application = product;
    application.setProductNameWithBrand("Recorder");
    EXPECT_TRUE(application.setDottedRevision("2.5"));
    EXPECT_STREQ("Keswardin Tarnel Recorder", application.getProductName());
    EXPECT_EQ(2U, application.getProductMajorVersion());
    EXPECT_EQ(5U, application.getProductMinorVersion());
    EXPECT_EQ(static_cast<Application*>(&application),
              static_cast<Application*>(static_cast<ApplicationImpl*>(&product)));
    EXPECT_EQ(s_szLogger, application.getAppLogger().getName());
}

TEST(ProductApplication, LogsNothingThatTheCommandLineDoesNotAskFor)
{
    Product product;
    EXPECT_THAT(outputOf(product, {}), IsEmpty());
}

TEST(ProductApplication, LogsItsNameWhereTheCommandLineAsksForIt)
{
    Product product;
    EXPECT_THAT(outputOf(product, {"--product-name"}),
                ElementsAre(infoLine(s_szLogger, "Product name : Keswardin Tarnel Gateway")));
}

TEST(ProductApplication, LogsItsVersionWhereTheCommandLineAsksForIt)
{
    Product product;
    product.setDottedRevision("2.1.7");
    EXPECT_THAT(outputOf(product, {"--version"}),
                ElementsAre(infoLine(s_szLogger, "Product version : 2.1.7")));
}

TEST(ProductApplication, LogsBothWhateverTheLevelAndWithoutAPlace)
{
    Product product;
    product.setDottedRevision("1234567");
    ASSERT_TRUE(product.start({"--version", "--product-name"}));
    const GlobalLocale locale;
    const CapturedLog log(FATAL_LOG_LEVEL);
    product.output();
    const std::vector<LogLine> lines = log.lines();
    EXPECT_THAT(lines, ElementsAre(infoLine(s_szLogger, "Product name : Keswardin Tarnel Gateway"),
                                   infoLine(s_szLogger, "Product version : 1234567")));
    for (const LogLine& line : lines)
    {
        EXPECT_EQ("", line.strFile);
        EXPECT_EQ(-1, line.iLine);
    }
}

TEST(ProductApplication, AnotherStartGoesByItsOwnCommandLine)
{
    Product product;
    EXPECT_EQ(1U, outputOf(product, {"--version"}).size());
    EXPECT_THAT(outputOf(product, {}), IsEmpty());
}

TEST(ProductApplication, ItsOptionsStandBehindThoseOfTheFrame)
{
    const Product product;
    std::ostringstream usage;
    product.writeUsage(usage);
    EXPECT_THAT(usage.str(), EndsWith("  --build-info          output the build info\n"
                                      "  --product-name        output the product name\n"
                                      "  --version             output the product version\n"));
}

} // namespace Velmora::Test
