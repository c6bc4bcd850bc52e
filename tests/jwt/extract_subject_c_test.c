/* The functions as a C compiler sees them; extract_subject_test.cpp runs this. */

#include <keepsafe/jwt/extract_subject.h>

#include <stdlib.h>
#include <string.h>

int subjectIsCutIntoItsFieldsInC(const char* token);
int subjectIsDeliveredWholeInC(const char* token);

/* Whether the subject of the token is alice:corp:ldap, by its fields. */
int subjectIsCutIntoItsFieldsInC(const char* token)
{
    char* two = NULL;
    char* one = NULL;
    char* three = NULL;
    int same;
    extractSubject_C(token, &two, &one, &three);
    same = two && one && three && strcmp(one, "alice") == 0 && strcmp(two, "corp") == 0 &&
           strcmp(three, "ldap") == 0;
    free(two);
    free(one);
    free(three);
    return same;
}

/* Whether the subject of the token is alice:corp:ldap, as a whole. */
int subjectIsDeliveredWholeInC(const char* token)
{
    char* subject = NULL;
    int same;
    extractSubjectNT_C(token, &subject);
    same = subject && strcmp(subject, "alice:corp:ldap") == 0;
    free(subject);
    return same;
}
