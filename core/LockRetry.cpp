#include "LockRetry.h"
#include "LockQuestion.h"
#include "Module.h"
#include "cMessage2.h"

namespace NexoFrame {

Transactions::AskAgain lockQuestion()
{
    return [] { return module().message().MsgQuestionYesNo(LockQuestion::message(), LockQuestion::retry()) == 2; };
}

} // namespace NexoFrame
