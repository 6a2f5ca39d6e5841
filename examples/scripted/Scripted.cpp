// SPDX-License-Identifier: BSD-2-Clause

#include "examples/scripted/RuleRunner.h"
#include "velmora/application/ApplicationImpl.h"
#include "velmora/python/PyClassName.h"
#include "velmora/python/PythonEmbeddedInterpreter.h"

#include <iostream>
#include <memory>
#include <string>

namespace ScriptedExample
{

namespace
{

constexpr const char* s_szRulesParam = "keswardin.sip.ua.python.appClass";

} // namespace

/// Reads the number of active calls from standard input, line by line, and passes each number to
/// the rules of a site. A gateway would count the calls itself.
class Scripted : public Velmora::ApplicationImpl
{
  public:
    Scripted() : ApplicationImpl(Velmora::Logger("keswardin.scripted"), "scripted") {}

    void run() override
    {
        const std::unique_ptr<RuleRunner> pRules = makeRules();
        unsigned int uiCalls = 0;
        while (std::cin >> uiCalls)
        {
            VELMORA_LOG_INFO(uiCalls << " active calls");
            if (pRules)
                pRules->activeCalls(uiCalls);
        }
    }

  private:
    /// Makes the site's rules. Returns null, with the reason in the log, if there are none or they
    /// cannot be made.
    std::unique_ptr<RuleRunner> makeRules()
    {
        std::string strClass;
        if (!getConfig()->getStringParameter(s_szRulesParam, strClass))
        {
            VELMORA_LOG_INFO("the site has no rules: " << s_szRulesParam << " is not set");
            return nullptr;
        }
        Velmora::TSPyObjPtr rules;
        if (configurePython())
            rules = Velmora::PyClassName(strClass.c_str()).getNewInstance();
        if (rules.is_none())
        {
            VELMORA_LOG_ERROR("goes on without the site's rules, as no " << strClass
                                                                         << " could be made");
            return nullptr;
        }
        return std::make_unique<RuleRunner>(rules);
    }

    /// Starts and configures Python. Returns false if this fails; the log has the reason.
    bool configurePython()
    {
        auto& interpreter = Velmora::Python::EmbeddedInterpreter::getInstance();
        try
        {
            return interpreter.configure(*getConfig());
        }
        catch (const boost::python::error_already_set&)
        {
            interpreter.logLastPyException();
            return false;
        }
    }
};

} // namespace ScriptedExample

int main(int argc, char** argv)
{
    ScriptedExample::Scripted program;
    if (!program.initialize(argc, argv))
        return 1;
    program.run();
}
