// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/Object.h"

#include "velmora/application/Cloneable.h"
#include "velmora/application/InputStreamable.h"
#include "velmora/application/OutputStreamable.h"
#include "velmora/logging/Resettable.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <type_traits>

namespace
{

using Velmora::Cloneable;
using Velmora::InputStreamable;
using Velmora::Object;
using Velmora::OutputStreamable;
using Velmora::Resettable;

class Named : public virtual OutputStreamable
{
  public:
    explicit Named(const std::string& in_strName) : m_strName(in_strName) {}

    std::ostream& write(std::ostream& out_stream) const override { return out_stream << m_strName; }

  private:
    std::string m_strName;
};

/// Returns a stream other than the argument.
class Diverted : public virtual OutputStreamable, public virtual InputStreamable
{
  public:
    std::ostream& write(std::ostream& out_stream) const override
    {
        out_stream << "written";
        return m_otherOutput;
    }

    std::istream& read(std::istream& in_stream) override
    {
        in_stream >> m_strRead;
        return m_otherInput;
    }

    mutable std::ostringstream m_otherOutput;
    std::istringstream m_otherInput;
    std::string m_strRead;
};

/// Implements all interfaces of the object model at once.
class Mixed : public virtual OutputStreamable,
              public virtual InputStreamable,
              public virtual Cloneable,
              public virtual Resettable
{
  public:
    explicit Mixed(int& out_iDestructions) : m_iDestructions(out_iDestructions) {}
    Mixed(const Mixed&) = default;
    ~Mixed() override { ++m_iDestructions; }

    std::ostream& write(std::ostream& out_stream) const override { return out_stream << "mixed"; }
    std::istream& read(std::istream& in_stream) override { return in_stream; }
    [[nodiscard]] Cloneable* clone() const override { return new Mixed(*this); }
    bool reset() override { return true; }

  private:
    int& m_iDestructions;
};

TEST(OutputStreamable, IsWrittenByTheInsertionOperator)
{
    std::ostringstream text;

    text << Named("gateway");

    EXPECT_EQ(text.str(), "gateway");
}

TEST(OutputStreamable, InsertionOperatorsCanBeChained)
{
    std::ostringstream text;

    text << Named("a") << ", " << Named("b");

    EXPECT_EQ(text.str(), "a, b");
}

TEST(OutputStreamable, InsertionOperatorReturnsWhatWriteReturned)
{
    const Diverted object;
    std::ostringstream text;

    std::ostream& returned = text << object;

    EXPECT_EQ(&returned, &object.m_otherOutput);
    EXPECT_EQ(text.str(), "written");
}

TEST(OutputStreamable, InsertionOperatorWritesAsTheDynamicClass)
{
    int iDestructions = 0;
    const Mixed object(iDestructions);
    const OutputStreamable& base = object;
    std::ostringstream text;

    text << base;

    EXPECT_EQ(text.str(), "mixed");
}

TEST(InputStreamable, IsReadByTheExtractionOperator)
{
    Diverted object;
    std::istringstream text("first second");

    text >> object;

    EXPECT_EQ(object.m_strRead, "first");
}

TEST(InputStreamable, ExtractionOperatorReturnsWhatReadReturned)
{
    Diverted object;
    std::istringstream text("first");

    std::istream& returned = text >> object;

    EXPECT_EQ(&returned, &object.m_otherInput);
}

TEST(Object, IsOneRootOfAllThatAClassMixes)
{
    int iDestructions = 0;
    Mixed object(iDestructions);

    Object* const pRoot = &object;

    EXPECT_EQ(pRoot, static_cast<Object*>(static_cast<OutputStreamable*>(&object)));
    EXPECT_EQ(pRoot, static_cast<Object*>(static_cast<InputStreamable*>(&object)));
    EXPECT_EQ(pRoot, static_cast<Object*>(static_cast<Cloneable*>(&object)));
    EXPECT_EQ(pRoot, static_cast<Object*>(static_cast<Resettable*>(&object)));
}

TEST(Object, LeadsBackToTheWholeObject)
{
    int iDestructions = 0;
    Mixed object(iDestructions);
    Object& root = object;

    EXPECT_EQ(dynamic_cast<Mixed*>(&root), &object);
}

TEST(Object, DestroysTheWholeObjectWhenDeletedThroughTheRoot)
{
    int iDestructions = 0;

    std::unique_ptr<Object> pObject = std::make_unique<Mixed>(iDestructions);
    pObject.reset();

    EXPECT_EQ(iDestructions, 1);
}

TEST(Cloneable, CloneIsAnotherObjectOfTheSameClass)
{
    int iDestructions = 0;
    const Mixed object(iDestructions);

    const std::unique_ptr<Cloneable> pClone(object.clone());

    EXPECT_NE(pClone.get(), static_cast<const Cloneable*>(&object));
    EXPECT_NE(dynamic_cast<Mixed*>(pClone.get()), nullptr);
}

TEST(Cloneable, CloneIsDeletedWholeThroughItsInterface)
{
    int iDestructions = 0;
    const Mixed object(iDestructions);

    std::unique_ptr<Cloneable>(object.clone()).reset();

    EXPECT_EQ(iDestructions, 1);
}

TEST(Object, InterfacesHaveNoObjectsOfTheirOwn)
{
    EXPECT_FALSE(std::is_abstract_v<Object>);
    EXPECT_TRUE(std::is_abstract_v<OutputStreamable>);
    EXPECT_TRUE(std::is_abstract_v<InputStreamable>);
    EXPECT_TRUE(std::is_abstract_v<Cloneable>);
    EXPECT_TRUE(std::is_abstract_v<Resettable>);
}

} // namespace
